// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The user's preferences, each mirrored to the defaults key of the same name.
#include <QJsonValue>
#include <QKeyCombination>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <array>
#include <functional>
#include <optional>

class DefaultsStore;
class LoginItem;

class AppSettings : public QObject {
    Q_OBJECT
public:
    // The history limits the settings window offers, smallest first; `stashwell config` takes
    // any integer from the first to the last.
    static constexpr std::array<qint64, 7> historyLimitChoices{100, 500, 1000, 5000, 10000, 20000, 50000};

    AppSettings(DefaultsStore &defaults, LoginItem &loginItem, QObject *parent = nullptr);
    static AppSettings &shared();

    bool onboardingCompleted() const { return m_onboardingCompleted; }
    bool launchAtLogin() const { return m_launchAtLogin; }
    // False while this copy cannot start at login (it runs from a build tree).
    bool launchAtLoginAvailable() const;
    // The global hot key in Qt's portable text ("Meta+Shift+V" is Super+Shift+V); not synchronised.
    QString hotKey() const { return m_hotKey; }
    QKeyCombination hotKeyCombination() const;
    std::optional<QString> languageCode() const { return m_languageCode; }
    qint64 historyLimit() const { return m_historyLimit; }
    qint64 historyRetentionDays() const { return m_historyRetentionDays; }
    bool moveToTopOnPaste() const { return m_moveToTopOnPaste; }
    bool copyInsteadOfPaste() const { return m_copyInsteadOfPaste; }
    bool alwaysPlainText() const { return m_alwaysPlainText; }
    bool restoreClipboardAfterPaste() const { return m_restoreClipboardAfterPaste; }
    bool clearOnQuit() const { return m_clearOnQuit; }
    bool monitoringPaused() const { return m_monitoringPaused; }
    bool builtInExclusionsEnabled() const { return m_builtInExclusionsEnabled; }
    QStringList excludedBundleIDs() const { return m_excludedBundleIDs; }
    bool crashReportingEnabled() const { return m_crashReportingEnabled; }
    bool improveDataSharing() const { return m_improveDataSharing; }

    void setOnboardingCompleted(bool value);
    void setLaunchAtLogin(bool value);
    // A combination GlobalHotKey::parse accepts, stored in its canonical form.
    void setHotKey(const QString &value);
    void setLanguageCode(const std::optional<QString> &value);
    void setHistoryLimit(qint64 value);
    void setHistoryRetentionDays(qint64 value);
    void setMoveToTopOnPaste(bool value);
    void setCopyInsteadOfPaste(bool value);
    void setAlwaysPlainText(bool value);
    void setRestoreClipboardAfterPaste(bool value);
    void setClearOnQuit(bool value);
    void setMonitoringPaused(bool value);
    void setBuiltInExclusionsEnabled(bool value);
    void setExcludedBundleIDs(const QStringList &value);
    void setCrashReportingEnabled(bool value);
    void setImproveDataSharing(bool value);

    // The same properties by defaults key (`stashwell config`): every key in the table's order;
    // a value in its defaults-file JSON form (undefined for an unknown key, null for an absent
    // languageCode); setting goes through the typed setter above and is refused (false,
    // nothing changed) for an unknown key, a value of another type, or a value the settings
    // window does not offer (historyLimit 100 to 50000, historyRetentionDays 0 to 90, one of
    // the interface languages, a hotKey of one key with Ctrl, Alt or Super). The defaults
    // file is read the same way: such a value reads as the default.
    static QStringList keys();
    QJsonValue value(const QString &key) const;
    bool setValue(const QString &key, const QJsonValue &value);
    // What `key` takes when setValue would refuse `value`, for messages: its type ("an integer"),
    // or for a value of that type that is not offered, the values offered ("an integer from 100
    // to 50000"); empty when `value` fits or the key is unknown.
    static QString expectedType(const QString &key, const QJsonValue &value);

    // The "app.env" snapshot for the improvement reporter.
    QVariantMap environmentProps() const;

    // The improvement reporter clears its queue here: run when improveDataSharing becomes false.
    std::function<void()> discardUnsentStatistics;

signals:
    // Emitted with the property's name (= its defaults key) before the value is written.
    void changed(const QString &key);

private:
    struct Property; // one row of the table: key, field and setter
    static const QList<Property> &properties();
    static const Property *property(const QString &key);
    template <typename T> void assign(T &field, const T &value, const char *key);
    void applyLoginItem(bool enabled);

    DefaultsStore &m_defaults;
    LoginItem &m_loginItem;

    bool m_onboardingCompleted = false;
    bool m_launchAtLogin = true;
    QString m_hotKey = QStringLiteral("Meta+Shift+V");
    std::optional<QString> m_languageCode;
    qint64 m_historyLimit = 500;
    qint64 m_historyRetentionDays = 0;
    bool m_moveToTopOnPaste = true;
    bool m_copyInsteadOfPaste = false;
    bool m_alwaysPlainText = false;
    bool m_restoreClipboardAfterPaste = false;
    bool m_clearOnQuit = false;
    bool m_monitoringPaused = false;
    bool m_builtInExclusionsEnabled = true;
    QStringList m_excludedBundleIDs;
    bool m_crashReportingEnabled = true;
    bool m_improveDataSharing = true;
};
