#!/usr/bin/env bash
# Screenshots of the program's small windows on a virtual X display, as a
# person sees them with the default theme: the Setup dialog in English and
# German, and About. Written to docs/.
# Usage: docs/screenshots.sh [BUILD_DIR]   (default: build)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${1:-build}
cmake --build "$build" --target tonmill-form-show >/dev/null
show=$(readlink -f "$build/tests/bin/tonmill-form-show")

work=$(mktemp -d)
number=$((90 + RANDOM % 100))
display=:$number
Xvfb "$display" -screen 0 900x700x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'kill "$xvfb" 2>/dev/null || true; rm -rf "$work"' EXIT
export DISPLAY=$display
for ((i = 0; i < 50; i++)); do [[ -S /tmp/.X11-unix/X$number ]] && break; sleep 0.1; done

shot() { # form language file
  mkdir -p "$work/$1-$2"
  QT_QPA_PLATFORM=xcb "$show" "$work/$1-$2" "$1" "$2" &
  local form=$!
  sleep 2
  # The window sits at the top left of an empty screen: trim the rest away.
  import -window root "$work/screen.png"
  convert "$work/screen.png" -trim +repage "docs/$3"
  kill "$form"
  wait "$form" 2>/dev/null || true
  echo "docs/$3"
}
shot setup English setup-en.png
shot setup Deutsch setup-de.png
shot about English about-en.png
