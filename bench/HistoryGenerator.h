// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A made-up history of a person who copies all day: short lines, addresses, multi-line snippets
// up to 2 KiB and now and then a screenshot. The same seed gives the same history.
#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "fakes/Fakes.h"
#include "platform/DefaultsStore.h"

#include <QString>

class GeneratedHistory {
public:
    // Generates `size` entries with HistoryStore's own ingest, into `workDir`.
    GeneratedHistory(const QString &workDir, qsizetype size);

    qsizetype size() const { return m_store.items().size(); }
    // Stashwell's files for the newest `count` entries: history.json and the side files they use.
    bool writeStashwellDir(const QString &dir, qsizetype count) const;
    // The newest `count` entries, oldest first, as a JSON array for a loader script: a text is
    // {"text": ...}, an image {"png": "<path of its PNG>"}.
    QByteArray oldestFirstJson(qsizetype count) const;

private:
    DefaultsStore m_defaults{QString()};
    FakeLoginItem m_login;
    AppSettings m_settings{m_defaults, m_login};
    FakeClock m_clock;
    HistoryStore m_store; // in the work directory
};
