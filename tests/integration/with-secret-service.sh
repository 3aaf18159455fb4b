#!/bin/sh
# Runs a program against a real Secret Service: a private D-Bus session bus with a
# gnome-keyring-daemon whose login keyring is created and unlocked in a temporary directory
# (never the user's own keyrings).
set -eu
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config" XDG_RUNTIME_DIR="$home/run"
mkdir -p -m 700 "$XDG_DATA_HOME" "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR"
dbus-run-session -- sh -c '
  printf %s stashwell-test | gnome-keyring-daemon --unlock --components=secrets --replace >/dev/null
  exec "$@"' sh "$@"
