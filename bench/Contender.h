// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A clipboard-history program under measurement, on a private desktop of its own: how to give
// it a history, start and stop it, open and close its window, and read what it recorded.
#include "e2e/XSession.h"

#include <QProcess>
#include <memory>
#include <optional>

class GeneratedHistory;
class XProbe;

class Contender {
public:
    Contender();
    virtual ~Contender();
    virtual QString name() const = 0;
    XSession &desktop() { return m_desktop; }

    // Stops the program and gives it the newest `count` entries of `history` for its next start.
    virtual bool install(const GeneratedHistory &history, qsizetype count) = 0;
    void launch();      // returns at once
    bool waitAnswers(); // until it answers commands (at most 30 s)
    virtual bool answers() const = 0;
    void stop();
    bool isRunning() const;
    QString howItEnded() const; // "exit code 0", "signal 11"
    QList<qint64> processes() const; // the program's process and every one it started

    virtual QStringList newestTexts(int count) const = 0;
    virtual std::optional<qsizetype> entryCount() const = 0; // nothing when it did not answer
    virtual QString entryCountNote() const { return {}; } // why it holds fewer than it was given

    // A client command that opens the window, started without waiting for it.
    std::unique_ptr<QProcess> startOpenCommand() const;
    virtual bool popupIsOverrideRedirect() const = 0;
    // Closes the open window and waits for `window` (its top level) to unmap.
    virtual bool closeWindow(XProbe &probe, quint32 window) = 0;

protected:
    virtual QString program() const = 0;
    virtual QStringList openArgs() const = 0;
    virtual void quit() { m_process->terminate(); }
    XSession::Run command(const QStringList &args, const QByteArray &input = {}) const;

    XSession m_desktop;
    std::unique_ptr<QProcess> m_process;
};

class StashwellContender final : public Contender {
public:
    QString name() const override { return QStringLiteral("Stashwell"); }
    bool install(const GeneratedHistory &history, qsizetype count) override;
    bool answers() const override { return command({"list"}).exitCode == 0; }
    QStringList newestTexts(int count) const override;
    std::optional<qsizetype> entryCount() const override;
    bool popupIsOverrideRedirect() const override { return true; }
    bool closeWindow(XProbe &probe, quint32 window) override;

protected:
    QString program() const override { return QStringLiteral(STASHWELL_BIN); }
    QStringList openArgs() const override { return {QStringLiteral("toggle")}; }

private:
    std::optional<QStringList> listing() const; // `stashwell list`, one title a line
};

class CopyQContender final : public Contender {
public:
    QString name() const override { return QStringLiteral("CopyQ"); }
    bool install(const GeneratedHistory &history, qsizetype count) override;
    bool answers() const override { return command({"count"}).exitCode == 0; }
    QStringList newestTexts(int count) const override;
    std::optional<qsizetype> entryCount() const override;
    QString entryCountNote() const override { return m_note; }
    bool popupIsOverrideRedirect() const override { return false; }
    bool closeWindow(XProbe &probe, quint32 window) override;

protected:
    QString program() const override { return QStringLiteral("copyq"); }
    QStringList openArgs() const override { return {QStringLiteral("show")}; }
    void quit() override { command({"exit"}); }

private:
    QString m_note;
};
