#!/usr/bin/env bash
# Loudness normalising measures the audio before it encodes it, so it costs a
# second pass: a 10-minute stereo source encoded to MP3 at 128 kbit/s through
# the encoder runner with TONMILL_LOUDNESS set (-16 LUFS) must take at most
# 1.6 times the plain encode. The source is loud noise (about -12.5 LUFS),
# brought down by one gain, as most music is. A quiet source (about -35 LUFS)
# taken to -14 LUFS, which needs the true-peak limiter as well (a measuring
# pass through the limiter, and the limiter in the encode), is timed beside
# it, for information. The two sides of each pair run
# interleaved, round after round, so that a busy moment of the machine falls
# on both; the median of the rounds decides.
# Usage: bench/loudness.sh [BUILD_DIR] [ROUNDS]   (default: build 3)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${1:-build}
rounds=${2:-3}
cmake --build "$build" --target tonmill-run >/dev/null
runner=$(readlink -f "$build/Tools/tonmill-run")
ffmpeg=$(command -v ffmpeg)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sox -R -n -b 16 -r 44100 -c 2 "$work/loud.wav" synth 600 pinknoise vol 0.8
sox -R -n -b 16 -r 44100 -c 2 "$work/quiet.wav" synth 600 pinknoise tremolo 2.5 100 vol 0.1

seconds() { # command...   (its output goes to $work/last.out)
  local start end
  start=$(date +%s.%N)
  "$@" >"$work/last.out" 2>&1
  end=$(date +%s.%N)
  echo "$end - $start" | bc -l
}
encode() { # source output [loudness]
  if [[ -n ${3:-} ]]; then
    TONMILL_LOUDNESS=$3 "$runner" "$ffmpeg" -y -i "$1" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 "$2"
  else
    "$runner" "$ffmpeg" -y -i "$1" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 "$2"
  fi
}
median() { sort -g | awk '{v[NR]=$1} END{print v[int((NR+1)/2)]}'; }

ok=1
for set in loud quiet; do
  target=$([[ $set == loud ]] && echo -16 || echo -14)
  choice="{\"mode\":\"normalize\",\"target\":$target,\"ceiling\":-1}"
  : >"$work/$set.plain"
  : >"$work/$set.norm"
  for ((round = 1; round <= rounds; round++)); do
    seconds encode "$work/$set.wav" "$work/plain.mp3" >>"$work/$set.plain"
    seconds encode "$work/$set.wav" "$work/norm.mp3" "$choice" >>"$work/$set.norm"
  done
  p=$(median <"$work/$set.plain")
  n=$(median <"$work/$set.norm")
  ratio=$(echo "$n / $p" | bc -l)
  said=$(sed -n 1p "$work/last.out")
  if [[ $set == loud ]]; then
    verdict=$(awk -v r="$ratio" 'BEGIN{print (r <= 1.6) ? "OK" : "OVER"}')
    [[ $verdict == OK ]] || ok=0
    printf 'loud source, one gain: plain %.2f s, normalised %.2f s, ratio %.3f (limit 1.6) %s\n' "$p" "$n" "$ratio" "$verdict"
  else
    printf 'quiet source, limited: plain %.2f s, normalised %.2f s, ratio %.3f (for information)\n' "$p" "$n" "$ratio"
  fi
  printf '  %s\n' "${said#*: }"
done
((ok))
