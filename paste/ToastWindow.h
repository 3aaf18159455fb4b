// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The notice window of HUDToast: the text on a translucent capsule. It never takes focus
// and lets clicks through to the window below.
#include <QWidget>

class ToastWindow final : public QWidget {
    Q_OBJECT
public:
    static constexpr int paddingX = 14;
    static constexpr int paddingY = 8;

    explicit ToastWindow(const QString &text, QWidget *parent = nullptr);
    QString text() const { return m_text; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_text;
};
