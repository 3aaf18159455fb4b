// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/SignInPage.h"

namespace SignInPage {
namespace {

QString escaped(const QString &text)
{
    return text.toHtmlEscaped().replace(QLatin1Char('\''), QLatin1String("&#39;"));
}

QByteArray page(const QString &title, const QString &content)
{
    return QStringLiteral(
               "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
               "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
               "<title>%1</title><style>"
               "body{font-family:system-ui,sans-serif;background:#f4f4f6;color:#1d1d1f;margin:0}"
               "main{max-width:26rem;margin:12vh auto;background:#fff;padding:2rem;border-radius:12px;"
               "box-shadow:0 2px 12px rgba(0,0,0,.08)}"
               "h1{font-size:1.4rem;margin-top:0}label{display:block;margin:1rem 0 .3rem}"
               "input[type=email],input[type=password]{width:100%;box-sizing:border-box;padding:.6rem;"
               "font-size:1rem;border:1px solid #c7c7cc;border-radius:8px}"
               "button,a.button{margin-top:1.2rem;padding:.6rem 1.2rem;font-size:1rem;border:0;border-radius:8px;"
               "background:#0a66d8;color:#fff;text-decoration:none;display:inline-block;cursor:pointer}"
               ".error{color:#b3261e}.note{color:#6e6e73;font-size:.9rem}"
               "@media (prefers-color-scheme:dark){body{background:#1c1c1e;color:#f2f2f7}"
               "main{background:#2c2c2e}input{background:#1c1c1e;color:#f2f2f7}}"
               "</style></head><body><main>%2</main></body></html>\n")
        .arg(escaped(title), content)
        .toUtf8();
}

QString hidden(const char *name, const QString &value)
{
    return QStringLiteral("<input type=\"hidden\" name=\"%1\" value=\"%2\">")
        .arg(QLatin1String(name), escaped(value));
}

} // namespace

QByteArray form(const Form &form)
{
    QString content = QStringLiteral("<h1>Sign in to Stashwell</h1>"
                                     "<p class=\"note\">Your Stashwell preferences will be kept in step across "
                                     "your computers. Your clipboard history never leaves your computer.</p>");
    if (!form.error.isEmpty())
        content += QStringLiteral("<p class=\"error\" role=\"alert\">%1</p>").arg(escaped(form.error));
    content += QStringLiteral("<form method=\"post\" action=\"/app/connect\">")
        + hidden("app", form.app) + hidden("challenge", form.challenge) + hidden("state", form.state)
        + QStringLiteral("<label for=\"email\">E-mail address</label>"
                         "<input id=\"email\" name=\"email\" type=\"email\" required autofocus "
                         "autocomplete=\"email\" maxlength=\"254\" value=\"%1\">")
              .arg(escaped(form.email));
    if (form.askAccessCode) {
        content += QStringLiteral("<label for=\"accessCode\">Access code of this server</label>"
                                  "<input id=\"accessCode\" name=\"accessCode\" type=\"password\" required "
                                  "autocomplete=\"off\">");
    }
    content += QStringLiteral("<button type=\"submit\">Sign in</button></form>");
    return page(QStringLiteral("Sign in to Stashwell"), content);
}

QByteArray invalidLink(const QString &reason)
{
    return page(QStringLiteral("Sign-in link not valid"),
                QStringLiteral("<h1>This sign-in link is not valid</h1><p>%1</p>"
                               "<p class=\"note\">Start the sign-in again from Stashwell's settings.</p>")
                    .arg(escaped(reason)));
}

QByteArray returning(const QString &location)
{
    return page(QStringLiteral("Signed in"),
                QStringLiteral("<h1>You are signed in</h1><p>Return to Stashwell to finish.</p>"
                               "<a class=\"button\" href=\"%1\">Open Stashwell</a>")
                    .arg(escaped(location)));
}

QByteArray home()
{
    return page(QStringLiteral("Stashwell reference server"),
                QStringLiteral("<h1>Stashwell reference server</h1>"
                               "<p>This server keeps Stashwell's synchronised preferences and receives its "
                               "optional diagnostics. Sign in from Stashwell's settings.</p>"));
}

} // namespace SignInPage
