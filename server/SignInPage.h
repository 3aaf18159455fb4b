// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QString>

// The few HTML pages of the browser sign-in (/app/connect). Every value is escaped.
namespace SignInPage {

struct Form {
    QString app;
    QString challenge;
    QString state;
    QString email;
    QString error;       // shown above the form when not empty
    bool askAccessCode = false;
};

QByteArray form(const Form &form);
QByteArray invalidLink(const QString &reason);
// Shown by browsers that do not follow the redirect to the application's URL scheme.
QByteArray returning(const QString &location);
QByteArray home();

} // namespace SignInPage
