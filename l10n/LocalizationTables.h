// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The catalogue, one key-to-text table per interface language. Built once, on
// first use, from the static lists in l10n/tables/, and never changed afterwards.
#include "l10n/AppLanguage.h"

#include <QHash>
#include <QMap>
#include <QString>

namespace LocalizationTables {

using Table = QHash<QString, QString>;
using Tables = QMap<AppLanguage, Table>;

// All fourteen tables, keyed (and ordered) by the enumeration.
const Tables &tables();

// One language's table (the same object as in tables()).
const Table &table(AppLanguage language);

} // namespace LocalizationTables
