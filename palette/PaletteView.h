// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The palette's content: search field, filter chips, list and preview, hints.
#include "palette/PaletteModel.h"

#include <QWidget>
#include <functional>

class AppIconCache;
class AppSettings;
class L10n;
class PaletteListModel;
class PreviewPane;
class QLabel;
class QLineEdit;
class QListView;
class QStackedWidget;
class QToolButton;

class PaletteView : public QWidget {
    Q_OBJECT
public:
    enum class Body { empty, noResults, list };

    PaletteView(PaletteModel &model, L10n &l10n, AppSettings &settings, HistoryStore &store, AppIconCache &icons,
                QWidget *parent = nullptr);

    // A double click on a row (the controller confirms it).
    std::function<void(const ClipItem &)> onActivate;

    QLineEdit *searchField() const { return m_search; }
    QListView *list() const { return m_list; }
    PreviewPane *preview() const { return m_preview; }
    Body body() const;
    QString bodyTitle() const;
    QString chipText(const PaletteModel::Filter &filter) const;
    QStringList hints() const; // "↩ Paste", "Alt+↩ Plain", ...

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void updateSymbols(); // drawn in the palette's colours
    void retranslate();
    void updateChips();
    void updateBody();
    void updateSelection();

    PaletteModel &m_model;
    L10n &m_l10n;
    AppSettings &m_settings;
    HistoryStore &m_store;
    QLabel *m_glass;
    QLineEdit *m_search;
    QList<QToolButton *> m_chips; // in Filter::cycle() order
    QStackedWidget *m_body;
    QLabel *m_stateSymbol;
    QLabel *m_stateTitle;
    QLabel *m_stateText;
    QListView *m_list;
    PaletteListModel *m_listModel;
    PreviewPane *m_preview;
    QList<QLabel *> m_hints;
};
