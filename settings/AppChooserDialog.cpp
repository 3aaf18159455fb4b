// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/AppChooserDialog.h"

#include "common/Symbols.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "platform/DesktopEntries.h"
#include "settings/SettingsExtraStrings.h"

#include <QCollator>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {
constexpr int iconSide = 24;
}

AppChooserDialog::AppChooserDialog(const DesktopEntries &apps, AppIconCache &icons, L10n &l10n, QWidget *parent)
    : QDialog(parent)
    , m_filter(new QLineEdit(this))
    , m_list(new QListWidget(this))
{
    using SettingsExtraStrings::Key;
    setWindowTitle(SettingsExtraStrings::text(Key::chooseApps, l10n.language()));
    resize(420, 520);

    m_filter->setPlaceholderText(SettingsExtraStrings::text(Key::searchApps, l10n.language()));
    m_filter->setClearButtonEnabled(true);
    m_filter->addAction(Symbols::icon(QStringLiteral("magnifyingglass"), palette().color(QPalette::PlaceholderText)),
                        QLineEdit::LeadingPosition);
    connect(m_filter, &QLineEdit::textChanged, this, &AppChooserDialog::applyFilter);

    QList<const DesktopEntry *> entries;
    for (const DesktopEntry &entry : apps.all())
        if (!entry.noDisplay && !entry.id.isEmpty())
            entries.append(&entry);
    QCollator collator(AppLanguages::locale(l10n.language()));
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(entries.begin(), entries.end(), [&collator](const DesktopEntry *a, const DesktopEntry *b) {
        return collator.compare(a->name.isEmpty() ? a->id : a->name, b->name.isEmpty() ? b->id : b->name) < 0;
    });
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setIconSize(QSize(iconSide, iconSide));
    m_list->setUniformItemSizes(true);
    const QIcon fallback = Symbols::icon(QStringLiteral("app.badge"), palette().color(QPalette::PlaceholderText), iconSide);
    for (const DesktopEntry *entry : entries) {
        auto *item = new QListWidgetItem(icons.icon(entry->id).value_or(fallback),
                                         entry->name.isEmpty() ? entry->id : entry->name, m_list);
        item->setData(Qt::UserRole, entry->id);
        item->setToolTip(entry->id);
    }

    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(l10n.string(QStringLiteral("common.cancel")), QDialogButtonBox::RejectRole);
    m_add = buttons->addButton(l10n.string(QStringLiteral("common.add")), QDialogButtonBox::AcceptRole);
    m_add->setDefault(true);
    m_add->setEnabled(false);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_list, &QListWidget::itemSelectionChanged, this,
            [this] { m_add->setEnabled(!m_list->selectedItems().isEmpty()); });
    connect(m_list, &QListWidget::itemDoubleClicked, this, &QDialog::accept);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_filter);
    layout->addWidget(m_list, 1);
    layout->addWidget(buttons);
    m_filter->setFocus();
}

QStringList AppChooserDialog::chosen() const
{
    QStringList ids;
    if (result() != QDialog::Accepted)
        return ids;
    for (int row = 0; row < m_list->count(); ++row)
        if (QListWidgetItem *item = m_list->item(row); item->isSelected() && !item->isHidden())
            ids.append(item->data(Qt::UserRole).toString());
    return ids;
}

void AppChooserDialog::applyFilter(const QString &text)
{
    const QString needle = text.trimmed();
    for (int row = 0; row < m_list->count(); ++row) {
        QListWidgetItem *item = m_list->item(row);
        const bool match = needle.isEmpty() || item->text().contains(needle, Qt::CaseInsensitive) ||
                           item->data(Qt::UserRole).toString().contains(needle, Qt::CaseInsensitive);
        item->setHidden(!match);
    }
}

QStringList AppChooserDialog::choose(const DesktopEntries &apps, AppIconCache &icons, L10n &l10n, QWidget *parent)
{
    AppChooserDialog dialog(apps, icons, l10n, parent);
    dialog.exec();
    return dialog.chosen();
}
