// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/TerminalEmulators.h"

#include <QSet>

namespace TerminalEmulators {

bool isTerminal(const QString &wmClass)
{
    // WM_CLASS values, lower-cased (XTerm, URxvt, Gnome-terminal, org.wezfurlong.wezterm, St, ...).
    static const QSet<QString> classes{
        QStringLiteral("xterm"), QStringLiteral("uxterm"), QStringLiteral("urxvt"), QStringLiteral("rxvt"),
        QStringLiteral("gnome-terminal"), QStringLiteral("gnome-terminal-server"), QStringLiteral("konsole"),
        QStringLiteral("kitty"), QStringLiteral("alacritty"), QStringLiteral("wezterm"),
        QStringLiteral("org.wezfurlong.wezterm"), QStringLiteral("foot"), QStringLiteral("footclient"),
        QStringLiteral("tilix"), QStringLiteral("com.gexperts.tilix"), QStringLiteral("terminator"),
        QStringLiteral("xfce4-terminal"), QStringLiteral("st"), QStringLiteral("st-256color"),
        QStringLiteral("lxterminal"), QStringLiteral("mate-terminal"), QStringLiteral("qterminal"),
        QStringLiteral("terminology"), QStringLiteral("sakura"), QStringLiteral("guake"), QStringLiteral("tilda"),
        QStringLiteral("yakuake"), QStringLiteral("cool-retro-term"), QStringLiteral("deepin-terminal"),
        QStringLiteral("io.elementary.terminal"), QStringLiteral("kgx"), QStringLiteral("org.gnome.console"),
        QStringLiteral("ptyxis"), QStringLiteral("org.gnome.ptyxis"), QStringLiteral("roxterm"),
        QStringLiteral("mlterm"), QStringLiteral("eterm"), QStringLiteral("aterm"), QStringLiteral("termite"),
        QStringLiteral("zutty"), QStringLiteral("contour"), QStringLiteral("ghostty"),
        QStringLiteral("com.mitchellh.ghostty"), QStringLiteral("rio"), QStringLiteral("warp"),
    };
    return classes.contains(wmClass.trimmed().toLower());
}

} // namespace TerminalEmulators
