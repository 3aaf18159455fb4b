// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The settings window's custom controls: capsule buttons, a pull-down pill, a capsule segmented
// control and an on/off switch, all drawn with the shared `PillTheme` and the widget palette (so
// they follow light and dark themes).
#include <QAbstractButton>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>

namespace PillTheme {
inline constexpr int height = 28;
inline constexpr int horizontalPadding = 14;
inline constexpr int chevronSize = 10;
inline constexpr int switchWidth = 38;
inline constexpr int switchHeight = 22;
QColor accent(const QPalette &palette);
QColor outline(const QPalette &palette);          // hairline of outlined capsules
QColor fill(const QPalette &palette);             // body of outlined capsules
QColor secondaryText(const QPalette &palette);
QColor warning();
} // namespace PillTheme

// A capsule button, filled with the accent colour or outlined.
class PillButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit PillButton(const QString &titleText = {}, bool filled = false, QWidget *parent = nullptr);
    QString titleText() const { return text(); }
    void setTitleText(const QString &title) { setText(title); updateGeometry(); }
    bool filled() const { return m_filled; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *) override;
    void enterEvent(QEnterEvent *) override { update(); }
    void leaveEvent(QEvent *) override { update(); }

private:
    bool m_filled;
};

// `MSPillButton`: a pill with its action.
class MSPillButton : public PillButton {
    Q_OBJECT
public:
    MSPillButton(const QString &title, bool filled, std::function<void()> action, QWidget *parent = nullptr);
};

// A button drawing its label and a chevron; pressing it opens whatever its owner attaches.
class PulldownPill : public QAbstractButton {
    Q_OBJECT
public:
    explicit PulldownPill(QWidget *parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *) override;
    void enterEvent(QEnterEvent *) override { update(); }
    void leaveEvent(QEvent *) override { update(); }
};

// `MSDropdown`: a pull-down of (value, label) options bound to the selected value.
class MSDropdown : public PulldownPill {
    Q_OBJECT
public:
    using Options = QList<std::pair<QVariant, QString>>;
    MSDropdown(Options options, QVariant selected, std::function<void(const QVariant &)> onSelect,
               QWidget *parent = nullptr);
    const Options &options() const { return m_options; }
    QVariant selected() const { return m_selected; }
    // What choosing an entry in the menu does: select it and report it.
    void choose(const QVariant &value);
    // Follows the bound value without reporting.
    void setSelected(const QVariant &value);
    // As wide as the widest option, so the pill does not jump between choices.
    QSize sizeHint() const override;

private:
    void openMenu();

    Options m_options;
    QVariant m_selected;
    std::function<void(const QVariant &)> m_onSelect;
};

// The rows' on/off switch (no visible label; the row's title names it for accessibility).
class PillSwitch : public QAbstractButton {
    Q_OBJECT
public:
    explicit PillSwitch(bool on = false, QWidget *parent = nullptr);
    QSize sizeHint() const override { return {PillTheme::switchWidth, PillTheme::switchHeight}; }

protected:
    void paintEvent(QPaintEvent *) override;
};
