// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/KeyPoster.h"

// XTest key events on the display Qt is connected to.
class X11KeyPoster final : public KeyPoster {
public:
    bool isTrusted() const override;
    QString targetWindowClass() const override;
    bool postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key) override;
};
