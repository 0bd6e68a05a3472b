#!/usr/bin/env bash
# Measuring a source's length from its audio packets, which the job does
# before every conversion because headers lie, must cost at most 5 % of the
# plain conversion: a 10-minute VBR MP3 without a frame count (its header
# guesses the length from its first frames), measured by the program's own
# code, against bare ffmpeg converting it to MP3 at 128 kbit/s.
# Usage: bench/source_length.sh [BUILD_DIR] [ROUNDS] [MINUTES]   (default: build 5 10)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${1:-build}
rounds=${2:-5}
minutes=${3:-10}
cmake --build "$build" --target tonmill-bench-length >/dev/null
bench=$(readlink -f "$build/bench/tonmill-bench-length")
ffmpeg=$(command -v ffmpeg)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source_mp3="$work/source.mp3"
# Loud first, quiet after: the first frames' bit rate says little of the rest.
"$ffmpeg" -v error -f lavfi \
  -i "anoisesrc=d=10:c=pink:a=0.5[a];sine=f=440:d=$((minutes * 60 - 10)),volume=0.1[b];[a][b]concat=n=2:v=0:a=1" \
  -ac 2 -c:a libmp3lame -q:a 0 -write_xing 0 "$source_mp3"
mkdir -p "$work/app"
printf '[General]\r\nFFMPEG=%s\r\n' "$ffmpeg" >"$work/app/Tonmill.ini"

median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
calc() { awk "BEGIN {printf \"%.3f\", $1}"; }
conversions=()
for ((i = 1; i <= rounds; i++)); do
  TIMEFORMAT=%3R
  t=$({ time "$ffmpeg" -nostdin -y -v error -i "$source_mp3" -vn -c:a libmp3lame -b:a 128k -f mp3 "$work/out.mp3" >/dev/null 2>&1; } 2>&1)
  conversions+=("$t")
done
read -r measured measure_ms < <("$bench" "$work/app" "$source_mp3" "$rounds")
header=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$source_mp3")
convert=$(median "${conversions[@]}")
share=$(calc "$measure_ms / 1000 / $convert")
printf 'source: %d min VBR MP3 without a frame count, %d rounds; medians\n' "$minutes" "$rounds"
printf '  length from the header: %10.3f s\n' "$header"
printf '  length measured:        %10.3f s\n' "$measured"
printf '  measuring:              %10.3f s\n' "$(calc "$measure_ms / 1000")"
printf '  bare ffmpeg to MP3 128k:%10.3f s   (%s)\n' "$convert" "${conversions[*]}"
printf '  share (limit 0.050):    %10.3f\n' "$share"
if awk "BEGIN {exit !($share <= 0.05)}"; then echo "OK"; else echo "FAIL: measuring costs more than 5 % of the conversion"; exit 1; fi
