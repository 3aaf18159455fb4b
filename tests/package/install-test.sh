#!/usr/bin/env bash
# Makes the Debian packages from a build tree, checks them with lintian, installs them with
# apt-get as a user would, checks that the desktop finds the program, its entry, metainfo and
# man page, and removes them again (also when a check fails). Needs root.
# Usage: install-test.sh <build dir> <version>
set -euo pipefail
build=$1 version=$2
fail() { echo "FAIL: $*" >&2; exit 1; }
installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'ok installed'; }

[ "$(id -u)" -eq 0 ] || fail "this test installs packages with apt-get and must run as root"
for p in stashwell stashwell-server; do
  ! installed $p || fail "$p is already installed; remove it before running this test"
done

out=$(realpath "$build")/package-test
rm -rf "$out"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$out" >"$out.log" || { cat "$out.log"; fail "cpack"; }
desktop=$(echo "$out"/stashwell_*.deb) server=$(echo "$out"/stashwell-server_*.deb)
lintian --fail-on error "$desktop" "$server" || fail "lintian found errors"
programs() { dpkg-deb -c "$1" | awk '$6 ~ "/bin/." {print $6}'; }
[ "$(programs "$desktop")" = ./usr/bin/stashwell ] || fail "stashwell holds programs: $(programs "$desktop")"
[ "$(programs "$server")" = ./usr/bin/stashwell-server ] || fail "stashwell-server holds: $(programs "$server")"

remove() {
  for p in stashwell stashwell-server; do
    if installed $p; then apt-get purge -y -qq $p >/dev/null; fi
  done
}
trap remove EXIT
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "$desktop" "$server" >/dev/null || fail "apt-get install"

[ "$(command -v stashwell)" = /usr/bin/stashwell ] || fail "stashwell is not /usr/bin/stashwell on PATH"
v=$(stashwell --version 2>&1 || true)
[[ $v == "Stashwell $version ("*")" ]] || fail "stashwell --version: $v"
v=$(stashwell-server --version 2>&1 || true)
[ "$v" = "stashwell-server $version" ] || fail "stashwell-server --version: $v"

entry=/usr/share/applications/com.norvane.Stashwell.desktop
desktop-file-validate "$entry" || fail "desktop-file-validate $entry"
icon=$(sed -n 's/^Icon=//p' "$entry")
[ -f "/usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "no icon $icon"
# The stashwell:// scheme reaches Stashwell once the package's trigger has updated the cache.
grep -q '^x-scheme-handler/stashwell=.*com\.norvane\.Stashwell\.desktop' /usr/share/applications/mimeinfo.cache ||
  fail "mimeinfo.cache does not route stashwell:// to the desktop entry"
appstreamcli validate --no-net /usr/share/metainfo/com.norvane.Stashwell.metainfo.xml || fail "appstreamcli validate"

for page in stashwell stashwell-server; do
  [ "$(man -w $page)" = "/usr/share/man/man1/$page.1.gz" ] || fail "man -w $page: $(man -w $page)"
  text=$(MANWIDTH=80 man --warnings $page 2>"$out/man.err") || fail "man $page"
  [ ! -s "$out/man.err" ] || fail "man $page: $(cat "$out/man.err")"
  [[ $text == *"--version"* ]] || fail "man $page does not list the options"
done
[[ $(man stashwell) == *toggle* ]] || fail "man stashwell does not list the commands"

remove
if [ -e /usr/bin/stashwell ] || [ -e "$entry" ]; then fail "files left after apt-get purge"; fi
echo "PASS: $(basename "$desktop") and $(basename "$server") install, work from PATH and remove cleanly"
