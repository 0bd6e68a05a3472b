#!/usr/bin/env bash
# Set-up for a Debian 12 machine.
#   ./build.sh run               installs what Tonmill needs, builds it and starts it
#   ./build.sh test              installs what Tonmill needs, builds it and runs every test
#   ./build.sh install [PREFIX]  installs what Tonmill needs, builds it and installs it
#                                into PREFIX (default /usr/local), with sudo when needed
#   ./build.sh uninstall         takes away what the last install put in place
# The package step is skipped when every package is already there.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"

mode=${1:-}
if [[ $mode != run && $mode != test && $mode != install && $mode != uninstall ]]; then
  echo "usage: $0 run | test | install [PREFIX] | uninstall" >&2
  exit 2
fi
sudo=()
# Root needs no sudo; neither does a prefix that the user may write.
as_root_for() {
  sudo=()
  local folder=$1
  while [[ ! -e $folder ]]; do folder=$(dirname "$folder"); done
  ((EUID == 0)) || [[ -w $folder ]] || sudo=(sudo)
}

if [[ $mode == uninstall ]]; then
  if [[ ! -f build/install_manifest.txt ]]; then
    echo "Nothing to take away: build/install_manifest.txt is missing." >&2
    exit 1
  fi
  as_root_for "$(head -n 1 build/install_manifest.txt)"
  exec "${sudo[@]}" cmake -D BUILD_DIR=build -P cmake/Uninstall.cmake
fi

packages=(
  cmake ninja-build g++ pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-multimedia-dev qt6-qpa-plugins libgl-dev
  ffmpeg libavcodec-extra mediainfo libmediainfo-dev sox
  xvfb xauth imagemagick pulseaudio python3-mutagen
  dbus-daemon at-spi2-core python3-pyatspi xdotool
  clang libclang-rt-14-dev
  librsvg2-bin desktop-file-utils appstream man-db
)

missing=()
for p in "${packages[@]}"; do
  if [[ $(dpkg-query -W -f='${db:Status-Status}' "$p" 2>/dev/null) != installed ]]; then
    missing+=("$p")
  fi
done
if ((${#missing[@]})); then
  echo "== installing: ${missing[*]}"
  sudo=()
  ((EUID == 0)) || sudo=(sudo)
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

jobs=$(nproc)
echo "== building"
# An install needs no tests; the test run builds them again.
tests=()
[[ $mode == install ]] && tests=(-DTONMILL_BUILD_TESTS=OFF)
[[ $mode == test ]] && tests=(-DTONMILL_BUILD_TESTS=ON)
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${tests[@]}" >/dev/null
cmake --build build -j "$jobs"

if [[ $mode == install ]]; then
  prefix=${2:-/usr/local}
  as_root_for "$prefix"
  echo "== installing into $prefix"
  "${sudo[@]}" cmake --install build --prefix "$prefix"
  echo "== installed: start it from the desktop's menu or as $prefix/bin/tonmill; ./build.sh uninstall takes it away"
  exit 0
fi

if [[ $mode == run ]]; then
  if [[ -z ${DISPLAY:-} && -z ${WAYLAND_DISPLAY:-} ]]; then
    echo "No display: Tonmill is a windowed program and neither DISPLAY nor WAYLAND_DISPLAY is set." >&2
    echo "It is built in $(pwd)/build; start build/tonmill from a desktop session." >&2
    exit 1
  fi
  exec build/tonmill "${@:2}"
fi

echo "== running the tests"
ctest --test-dir build -j "$jobs" --output-on-failure

# The fuzz targets build with clang and the sanitizers, and each runs briefly.
echo "== building and briefly running the fuzz targets"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DTONMILL_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build-fuzz -j "$jobs"
shopt -s nullglob
for target in build-fuzz/fuzz/fuzz_*; do
  corpus=$(mktemp -d)
  echo "-- $(basename "$target")"
  "$target" -max_total_time=10 -rss_limit_mb=1024 "$corpus" 2>&1 | tail -n 2
  rm -rf "$corpus"
done
echo "== all tests passed"
