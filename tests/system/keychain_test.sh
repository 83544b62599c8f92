#!/usr/bin/env bash
# Passwords in a real secret service, in a session of its own.
set -euo pipefail
tests=$(cd "$(dirname "$1")" && pwd)/test_devices
[ -x "$tests" ] || exit 77
for tool in dbus-run-session gnome-keyring-daemon; do command -v $tool >/dev/null || exit 77; done
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
mkdir -m 700 "$home/run"

export HOME=$home XDG_RUNTIME_DIR=$home/run LUMISK_TEST_SECRET_SERVICE=1
unset DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY XDG_DATA_HOME
dbus-run-session -- bash -c '
  printf test | gnome-keyring-daemon --unlock --components=secrets --daemonize >/dev/null 2>&1
  exec "$0" --gtest_filter="AGKeychainInASession.*"' "$tests"
