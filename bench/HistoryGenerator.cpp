// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistoryGenerator.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QSet>
#include <random>

namespace {

constexpr int imageEvery = 250; // one screenshot among this many copies
constexpr int maxSnippetBytes = 2048;

const QStringList words = QStringLiteral(
    "the of and to in is for on with as at by from that this it be are was release build deploy server "
    "client meeting notes invoice order customer ticket report draft budget review schedule project "
    "update config error warning docker kubernetes python function return value table query index "
    "password reset account login session token branch commit merge request issue feature test "
    "staging production backup restore database migration version package install remove monday "
    "tuesday friday tomorrow agenda minutes summary address phone street berlin london paris email "
    "thanks regards hello please check attached document spreadsheet slide design colour font image")
                                .split(QLatin1Char(' '));
const QStringList hosts = {"github.com", "docs.example.org", "mail.example.com", "wiki.internal.example",
                           "www.youtube.com", "stackoverflow.com", "news.example.net", "shop.example.de"};
const QStringList apps = {"org.kde.kate", "firefox", "org.gnome.Terminal", "libreoffice-writer", "thunderbird",
                          "code"};

class Writer {
public:
    explicit Writer(quint32 seed) : m_random(seed) {}
    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_random); }
    QString word() { return words[below(int(words.size()))]; }
    QString phrase(int count)
    {
        QStringList out;
        for (int i = 0; i < count; ++i)
            out << word();
        return out.join(QLatin1Char(' '));
    }
    QString shortLine() { return phrase(1 + below(8)); }
    QString url()
    {
        return QStringLiteral("https://%1/%2/%3?id=%4").arg(hosts[below(int(hosts.size()))], word(), word())
            .arg(below(1000000));
    }
    QString snippet()
    {
        const int target = 120 + below(maxSnippetBytes - 120);
        QString text;
        while (text.size() < target) {
            const bool code = below(2) == 0;
            text += code ? QStringLiteral("    %1 = %2(%3);\n").arg(word(), word(), word()) : phrase(4 + below(10)) + '\n';
        }
        return text.left(target);
    }

private:
    std::mt19937 m_random;
};

QByteArray screenshot(int index)
{
    QImage image(640, 400, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(index * 37 % 360, 60, 240));
    QPainter painter(&image);
    painter.setPen(Qt::black);
    for (int line = 0; line < 20; ++line)
        painter.drawText(20, 30 + line * 18, QStringLiteral("Window %1, line %2: some text on screen").arg(index).arg(line));
    painter.end();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

ClipCapture capture(Writer &writer, int index, QSet<QString> &seen)
{
    ClipCapture c;
    // The application changes with every copy: copies that extend the previous one from the same
    // application would merge into one entry.
    const QString app = apps[index % apps.size()];
    c.sourceAppBundleID = app;
    c.sourceAppName = app.section(QLatin1Char('.'), -1);
    if (index % imageEvery == imageEvery - 1) {
        c.kind = ClipKind::image;
        c.imageData = screenshot(index);
        return c;
    }
    QString text;
    do {
        const int pick = writer.below(10);
        text = pick < 4 ? writer.shortLine() : pick < 7 ? writer.url() : writer.snippet();
    } while (seen.contains(text));
    seen.insert(text);
    c.kind = text.startsWith(QLatin1String("https://")) ? ClipKind::link : ClipKind::text;
    c.text = text;
    return c;
}

bool copyFile(const QString &from, const QString &to)
{
    return !QFile::exists(from) || QFile::copy(from, to);
}

} // namespace

GeneratedHistory::GeneratedHistory(const QString &workDir, qsizetype size)
    : m_store(workDir + "/Stashwell", m_settings, m_clock)
{
    m_settings.setHistoryLimit(size);
    // Two years of copying. Only the wall clock moves: with time passing between two copies the
    // store would save the whole history after each of them.
    m_clock.wall = QDateTime::currentDateTimeUtc().addDays(-730);
    const qint64 step = 730LL * 86400 / size;
    Writer writer(20240611);
    QSet<QString> seen;
    for (int i = 0; i < size; ++i) {
        m_clock.wall = m_clock.wall.addSecs(step);
        m_store.ingest(capture(writer, i, seen));
    }
}

bool GeneratedHistory::writeStashwellDir(const QString &dir, qsizetype count) const
{
    const QList<ClipItem> newest = m_store.items().mid(0, count);
    QDir(dir).removeRecursively();
    bool ok = QDir().mkpath(dir + "/blobs") && QDir().mkpath(dir + "/thumbs");
    for (const ClipItem &item : newest) {
        if (!item.hasImage)
            continue;
        for (const QString &from : {m_store.blobPath(item, "png"), m_store.thumbPath(item)})
            ok = ok && copyFile(from, dir + from.mid(m_store.dir().size()));
    }
    QFile file(dir + "/history.json");
    return ok && file.open(QIODevice::WriteOnly) && file.write(HistoryStore::encode(newest)) > 0;
}

QByteArray GeneratedHistory::oldestFirstJson(qsizetype count) const
{
    QJsonArray list;
    const QList<ClipItem> &items = m_store.items();
    for (qsizetype i = std::min(count, items.size()) - 1; i >= 0; --i) {
        const ClipItem &item = items[i];
        if (item.hasImage)
            list.append(QJsonObject{{"png", m_store.blobPath(item, "png")}});
        else
            list.append(QJsonObject{{"text", item.text.value_or(QString())}});
    }
    return QJsonDocument(list).toJson(QJsonDocument::Compact);
}
