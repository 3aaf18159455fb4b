// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The static facts the diagnostics services (usage statistics, crash reports) share:
// the web-service root, the installation identifier, the build's versions and the platform.
#include <QString>
#include <QUrl>

class DefaultsStore;

namespace DiagnosticsConfig {
// The CMake constant STASHWELL_SERVICE_URL, overridden by the environment
// variable of the same name. Empty means nothing is ever sent.
QString serviceRoot();
// `root` + `path`; an invalid URL when the root is empty or not an http(s) address.
QUrl endpoint(const QString &root, const QString &path);

// "crashInstallID": created once as an upper-case UUID and kept for the installation.
QString installID(DefaultsStore &defaults);
// A switch stored as a Bool; absent or of another type means on.
bool switchOn(const DefaultsStore &defaults, const QString &key);

QString appVersion(); // the project version, e.g. "0.1.0"; "?" if empty
QString build();      // the build number; "?" if empty
QString osVersion();  // e.g. "Debian GNU/Linux 12 (bookworm)"
QString arch();       // the architecture the program was built for: "x86_64", "arm64", ...
QString locale();     // the user's locale identifier, e.g. "en_US"
} // namespace DiagnosticsConfig

// Usage statistics: whether to queue and where to upload.
class ImproveConfig {
public:
    ImproveConfig(DefaultsStore &defaults, const QString &serviceRoot);
    bool enabled() const; // "improveDataSharing", and a service to send to
    QString installID() const { return DiagnosticsConfig::installID(m_defaults); }
    QUrl endpoint() const { return m_endpoint; }

private:
    DefaultsStore &m_defaults;
    QUrl m_endpoint;
};

// Crash reports: whether to send and where.
class CrashConfig {
public:
    CrashConfig(DefaultsStore &defaults, const QString &serviceRoot);
    bool reportingEnabled() const; // "crashReportingEnabled"
    QString installID() const { return DiagnosticsConfig::installID(m_defaults); }
    QUrl endpoint() const { return m_endpoint; } // invalid: nothing is ever sent

private:
    DefaultsStore &m_defaults;
    QUrl m_endpoint;
};
