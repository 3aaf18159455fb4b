// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/AppMessageLog.h"

#include <QtGlobal>

namespace {
QtMessageHandler previousHandler = nullptr;
bool installed = false;

void keepMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const char *category = context.category ? context.category : "default";
    AppMessageLog::instance().append(QDateTime::currentDateTimeUtc(), QString::fromUtf8(category), message);
    if (previousHandler)
        previousHandler(type, context, message);
}
} // namespace

AppMessageLog &AppMessageLog::instance()
{
    static auto *log = new AppMessageLog; // outlives every thread that may still log
    return *log;
}

void AppMessageLog::install()
{
    if (installed)
        return;
    installed = true;
    previousHandler = qInstallMessageHandler(keepMessage);
}

void AppMessageLog::append(const QDateTime &time, const QString &category, const QString &message)
{
    QMutexLocker lock(&m_lock);
    m_entries.push_back({time, category, message});
    if (m_entries.size() > capacity)
        m_entries.pop_front();
}

QString AppMessageLog::exportSince(const QDateTime &since) const
{
    QMutexLocker lock(&m_lock);
    QString text;
    for (const Entry &entry : m_entries) {
        if (entry.time < since)
            continue;
        text += entry.time.toUTC().toString(Qt::ISODate) + QStringLiteral(" [") + entry.category +
                QStringLiteral("] ") + entry.message + QLatin1Char('\n');
    }
    return text;
}
