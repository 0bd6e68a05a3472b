#!/usr/bin/env bash
# A batch through the command line must keep up with bare ffmpeg run as many
# at a time: eight 60-second stereo WAVs to MP3 at 128 kbit/s, two encoders
# at once, within 1.10 times `xargs -P2 ffmpeg`; and 200 one-second WAVs,
# which show the fixed cost per file, within 1.5 times. The two sides run
# interleaved, round after round, so that a busy moment of the machine falls
# on both; the median of the rounds decides.
# Usage: bench/batch.sh [BUILD_DIR] [ROUNDS]   (default: build 3)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${1:-build}
rounds=${2:-3}
cmake --build "$build" --target tonmill tonmill-run tonmill-avs tonmill-mediainfo >/dev/null
tonmill=$(readlink -f "$build/tonmill")
tools=$(readlink -f "$build/Tools")
ffmpeg=$(command -v ffmpeg)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/app" "$work/long" "$work/short"
ln -s "$tools" "$work/app/Tools"
printf '[General]\r\nFFMPEG=%s\r\n[Options]\r\nMode=MP3\r\nMP3BitRate=128\r\n' "$ffmpeg" >"$work/app/Tonmill.ini"
for i in $(seq 1 8); do sox -n -b 16 -r 44100 -c 2 "$work/long/$i.wav" synth 60 pinknoise vol 0.5; done
sox -n -b 16 -r 44100 -c 2 "$work/one.wav" synth 1 pinknoise vol 0.5
for i in $(seq 1 200); do cp "$work/one.wav" "$work/short/$i.wav"; done

seconds() { # command...
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1
  end=$(date +%s.%N)
  echo "$end - $start" | bc -l
}
# Each side writes to a folder of its own, emptied before each round.
ours() { # folder
  rm -rf "$work/ours" && mkdir "$work/ours"
  "$tonmill" --home "$work/app" --convert "$1" --format MP3 --jobs 2 --output-dir "$work/ours"
}
bare() { # folder
  rm -rf "$work/bare" && mkdir "$work/bare"
  find "$1" -name '*.wav' -print0 |
    xargs -0 -P2 -I{} sh -c 'exec "$0" -v error -y -i "$1" -b:a 128k "$2/$(basename "$1" .wav).mp3"' \
      "$ffmpeg" {} "$work/bare"
}

median() { sort -g | awk '{v[NR]=$1} END{print v[int((NR+1)/2)]}'; }
for set in long short; do
  : >"$work/$set.ours" ; : >"$work/$set.bare"
  for ((round = 1; round <= rounds; round++)); do
    seconds ours "$work/$set" >>"$work/$set.ours"
    seconds bare "$work/$set" >>"$work/$set.bare"
  done
  o=$(median <"$work/$set.ours"); b=$(median <"$work/$set.bare")
  ratio=$(echo "$o / $b" | bc -l)
  limit=$([[ $set == long ]] && echo 1.10 || echo 1.5)
  printf '%s: batch %.2f s, xargs -P2 ffmpeg %.2f s, ratio %.3f (limit %s) %s\n' \
    "$([[ $set == long ]] && echo '8 x 60 s' || echo '200 x 1 s')" "$o" "$b" "$ratio" "$limit" \
    "$(awk -v r="$ratio" -v l="$limit" 'BEGIN{print (r <= l) ? "OK" : "OVER"}')"
done
