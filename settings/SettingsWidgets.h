// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The building blocks shared by all settings tabs: cards of rows, footers, key caps, badges and
// the sidebar's icon chips.
#include <QColor>
#include <QFont>
#include <QFrame>
#include <QLabel>
#include <QStringList>

class QHBoxLayout;
class QVBoxLayout;

namespace SettingsMetrics {
inline constexpr int cardRadius = 10;
inline constexpr int rowHorizontal = 16;
inline constexpr int rowVertical = 11;
inline constexpr int cardSpacing = 14;
inline constexpr int controlGap = 18; // between a row's texts and its control
}

// A horizontal hairline between the rows of a card, inset like the rows' contents on both sides.
class RowDivider : public QWidget {
    Q_OBJECT
public:
    explicit RowDivider(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *) override;
};

// `SettingsCard`: a rounded card; rows added to it are separated by dividers.
class SettingsCard : public QFrame {
    Q_OBJECT
public:
    explicit SettingsCard(QWidget *parent = nullptr);
    void addRow(QWidget *row);
    int rowCount() const { return m_rows; }

protected:
    void paintEvent(QPaintEvent *) override;

private:
    QVBoxLayout *m_layout;
    int m_rows = 0;
};

// `SettingsRow`: title, optional subtitle, and a trailing control.
class SettingsRow : public QWidget {
    Q_OBJECT
public:
    SettingsRow(const QString &title, const QString &subtitle = {}, QWidget *control = nullptr,
                QFont::Weight titleWeight = QFont::Normal, QWidget *parent = nullptr);
    QLabel *titleLabel() const { return m_title; }
    QLabel *subtitleLabel() const { return m_subtitle; }
    QWidget *control() const { return m_control; }
    void setSubtitle(const QString &subtitle);
    // Disabled rows are dimmed and their control cannot be used.
    void setRowEnabled(bool enabled);
    // An extra widget under the texts (the built-in list's disclosure). A fixed-width widget
    // needs `alignment`, or it would cap the width of the texts column.
    void addBelow(QWidget *widget, Qt::Alignment alignment = {});
    // A leading widget before the texts (an application's icon).
    void setLeading(QWidget *widget);

private:
    QHBoxLayout *m_layout;
    QVBoxLayout *m_texts;
    QLabel *m_title;
    QLabel *m_subtitle;
    QWidget *m_control;
};

// `FooterNote`: small explanatory text under the cards, optionally tinted.
class FooterNote : public QLabel {
    Q_OBJECT
public:
    explicit FooterNote(const QString &text, const QColor &tint = {}, QWidget *parent = nullptr);
};

// One key cap ("Super", "Shift", "V", "↩").
class KeyCap : public QWidget {
    Q_OBJECT
public:
    explicit KeyCap(const QString &text, QWidget *parent = nullptr);
    QString text() const { return m_text; }
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *) override;

private:
    QString m_text;
};

// `KeyComboChips`: the parts of a key combination as key caps.
class KeyComboChips : public QWidget {
    Q_OBJECT
public:
    explicit KeyComboChips(const QStringList &parts, QWidget *parent = nullptr);
    QStringList parts() const { return m_parts; }

private:
    QStringList m_parts;
};

// A small capsule with a symbol and a word ("Always on", "Granted").
class StatusBadge : public QWidget {
    Q_OBJECT
public:
    StatusBadge(const QString &symbol, const QString &text, const QColor &tint, QWidget *parent = nullptr);
    QString text() const { return m_text; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *) override;

private:
    QString m_symbol;
    QString m_text;
    QColor m_tint;
};

// `PermissionStatusBadge`: `granted` in words (perm.granted / perm.notGranted).
class PermissionStatusBadge : public StatusBadge {
    Q_OBJECT
public:
    PermissionStatusBadge(bool granted, const QString &text, QWidget *parent = nullptr);
    bool granted() const { return m_granted; }

private:
    bool m_granted;
};

// `IconChip`: a white symbol on a two-stop gradient, in a rounded square.
class IconChip : public QWidget {
    Q_OBJECT
public:
    IconChip(const QString &symbol, const std::pair<QColor, QColor> &gradient, int side, QWidget *parent = nullptr);
    QString symbol() const { return m_symbol; }

protected:
    void paintEvent(QPaintEvent *) override;

private:
    QString m_symbol;
    std::pair<QColor, QColor> m_gradient;
};

namespace SettingsText {
// A word-wrapping label for a secondary line (subtitles, identifiers).
QLabel *secondary(const QString &text, qreal scale = 0.92, QWidget *parent = nullptr);
QFont scaled(const QFont &font, qreal scale, QFont::Weight weight = QFont::Normal);
}
