#!/usr/bin/env bash
# Screenshots of the program's windows on a virtual X display of 1920 x 1080,
# as a person sees them with the default theme: the main window with a source
# loaded and the MP3 panel shown (the README's picture), the main window as it
# starts with that source at 200 % scale (QT_SCALE_FACTOR=2), the same window
# playing a preview of the result from the source's middle with its size
# estimate, the waveform of a recording with a segment marked on it, with the
# Equalizer window docked beside it, the
# window in batch mode in the middle of converting a folder, the
# Setup dialog in English and German, and About. Written to docs/. The player
# plays into a PulseAudio null sink of the script's own.
# Usage: docs/screenshots.sh [BUILD_DIR]   (default: build)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${1:-build}
cmake --build "$build" --target tonmill-form-show tonmill-run tonmill-mediainfo tonmill-avs >/dev/null
show=$(readlink -f "$build/tests/bin/tonmill-form-show")

work=$(mktemp -d)
number=$((90 + RANDOM % 100))
display=:$number
Xvfb "$display" -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
export XDG_RUNTIME_DIR="$work/run"
mkdir -m 700 "$XDG_RUNTIME_DIR"
printf 'autospawn = no\n' >"$work/client.conf"
export PULSE_CLIENTCONFIG="$work/client.conf"
pulseaudio -n --daemonize=no --exit-idle-time=-1 --disallow-exit \
  --load=module-null-sink --load=module-native-protocol-unix >/dev/null 2>&1 &
sound=$!
trap 'kill "$xvfb" "$sound" 2>/dev/null || true; rm -rf "$work"' EXIT
export DISPLAY=$display
for ((i = 0; i < 50; i++)); do [[ -S /tmp/.X11-unix/X$number && -S $XDG_RUNTIME_DIR/pulse/native ]] && break; sleep 0.1; done

# A tagged source for the main window.
source="$work/Morning Song.mp3"
ffmpeg -v error -f lavfi -i sine=frequency=440:duration=215 -ac 2 -b:a 192k \
  -metadata title="Morning Song" -metadata artist="The Quiet Hours" -metadata album="Early Light" \
  -metadata date=2024 -metadata track=3 -metadata genre=Folk "$source"

# A recording whose loudness rises and falls, with a pause, for the waveform.
recording="$work/Field Recording.wav"
sox -n -b 16 -r 44100 -c 2 "$work/part1.wav" synth 20 pinknoise tremolo 0.12 85 fade q 2 20 3 vol 0.7
sox -n -b 16 -r 44100 -c 2 "$work/pause.wav" trim 0 3
sox -n -b 16 -r 44100 -c 2 "$work/part2.wav" synth 17 pinknoise tremolo 0.3 60 fade q 1 17 5 vol 0.5
sox "$work/part1.wav" "$work/pause.wav" "$work/part2.wav" "$recording"

# A folder of long recordings for the batch.
album="$work/Live Album"
mkdir -p "$album"
for track in "01 Opening" "02 The Long Road" "03 Harbour Lights" "04 Night Train" "05 Encore" "06 Last Call"; do
  sox -n -b 16 -r 44100 -c 2 "$album/$track.wav" synth 400 pinknoise vol 0.3
done

shot() { # form language file [source]; SHOT_SCALE=2 for 200 %
  mkdir -p "$work/$1-$2"
  ln -s "$(readlink -f "$build/Tools")" "$work/$1-$2/Tools"
  QT_SCALE_FACTOR=${SHOT_SCALE:-1} QT_QPA_PLATFORM=xcb "$show" "$work/$1-$2" "$1" "$2" "${@:4}" &
  local form=$!
  sleep "${SHOT_WAIT:-3}"
  # The window sits at the top left of an empty screen: trim the rest away.
  import -window root "$work/screen.png"
  convert "$work/screen.png" -trim +repage "docs/$3"
  kill "$form"
  wait "$form" 2>/dev/null || true
  echo "docs/$3"
}
shot main English screenshot.png "$source"
SHOT_SCALE=2 shot start English screenshot-200.png "$source"
SHOT_WAIT=6 shot player English player.png "$source"
shot waveform English waveform.png "$recording"
shot equalizer English equalizer.png "$source"
SHOT_WAIT=6 shot batch English batch.png "$album"
shot setup English setup-en.png
shot setup Deutsch setup-de.png
shot about English about-en.png
