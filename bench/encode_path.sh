#!/usr/bin/env bash
# The program's whole encode path (the decoding script plus the encoder runner)
# must cost no more than bare ffmpeg doing the same encode: a 10-minute stereo
# WAV to MP3 at 128 kbit/s within 1.05 times bare ffmpeg's time, and a
# normalised job within one extra pass that decodes the source and finds its
# peak (timed here as bare ffmpeg doing just that).
# Wall-clock time decides; CPU time is shown beside it, since it stays steady
# on a machine that other work shares.
# Usage: bench/encode_path.sh [BUILD_DIR] [ROUNDS] [MINUTES]   (default: build 5 10)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${1:-build}
rounds=${2:-5}
minutes=${3:-10}
cmake --build "$build" --target tonmill-run >/dev/null
runner=$(readlink -f "$build/Tools/tonmill-run")
ffmpeg=$(command -v ffmpeg)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source_wav="$work/source.wav"
sox -n -b 16 -r 44100 -c 2 "$source_wav" synth $((minutes * 60)) pinknoise vol 0.5

# The full script as the program writes it for an MP3 job, with and without
# normalising (CR LF line ends, plug-in lines included).
write_script() { # file normalise
  local clip=Clip3
  {
    printf '# Created by Tonmill - Quorell\r\n'
    printf 'LoadPlugin("%s\\Tools\\Plugins\\NicAudio.dll")\r\n' "$work"
    printf 'LoadPlugin("%s\\Tools\\Plugins\\soxfilter.dll")\r\n' "$work"
    printf 'Clip1 = DirectShowSource("%s",25)\r\n' "$source_wav"
    printf 'Clip2 = BlankClip(Length = 2000000, fps = 25)\r\n'
    printf 'Clip3 = AudioDub(Clip2, Clip1)\r\n'
    if [[ $2 == 1 ]]; then printf 'Clip4=Normalize(Clip3,volume=1)\r\n'; clip=Clip4; fi
    printf 'Trim(%s,0,%d)\r\n' "$clip" $((minutes * 60 * 25))
    printf 'ResampleAudio (44100)\r\n'
    printf 'ConvertToYV12()\r\n'
  } >"$1"
}
write_script "$work/DirectQX.avs" 0
write_script "$work/normalised.avs" 1

# Wall-clock and CPU seconds (user + system, the command and its children).
measure() { # command...
  local TIMEFORMAT='%3R %3U %3S' t
  t=$({ time "$@" >/dev/null 2>&1; } 2>&1)
  awk '{printf "%.3f %.3f", $1, $2 + $3}' <<<"$t"
}
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
calc() { awk "BEGIN {printf \"%.3f\", $1}"; }

declare -A wall cpu
run() { # name command...
  local name=$1 m
  shift
  m=$(measure "$@")
  wall[$name]+="${m% *} "
  cpu[$name]+="${m#* } "
}
for ((i = 1; i <= rounds; i++)); do
  run bare "$ffmpeg" -nostdin -y -i "$source_wav" -vn -c:a libmp3lame -b:a 128k -ac 2 -ar 44100 -f mp3 "$work/bare.mp3"
  run path "$runner" "$ffmpeg" -y -i "$work/DirectQX.avs" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 "$work/path.mp3"
  run norm "$runner" "$ffmpeg" -y -i "$work/normalised.avs" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 "$work/norm.mp3"
  # A pass that decodes the source and finds its peak: what normalising needs.
  run scan "$ffmpeg" -nostdin -i "$source_wav" -af astats=measure_perchannel=none:measure_overall=Peak_level -f null -
done
declare -A w c
for k in bare path norm scan; do
  # shellcheck disable=SC2086
  w[$k]=$(median ${wall[$k]})
  # shellcheck disable=SC2086
  c[$k]=$(median ${cpu[$k]})
done
ratio=$(calc "${w[path]} / ${w[bare]}")
cpu_ratio=$(calc "${c[path]} / ${c[bare]}")
allowed=$(calc "(${w[path]} + ${w[scan]}) * 1.05")
cpu_allowed=$(calc "(${c[path]} + ${c[scan]}) * 1.05")
printf 'source: %d min stereo 44.1 kHz WAV, %d rounds; medians in seconds, wall clock | CPU\n' "$minutes" "$rounds"
printf '  bare ffmpeg to MP3 128k:        %7.2f | %7.2f   (wall: %s)\n' "${w[bare]}" "${c[bare]}" "${wall[bare]}"
printf '  script + runner to MP3 128k:    %7.2f | %7.2f   (wall: %s)\n' "${w[path]}" "${c[path]}" "${wall[path]}"
printf '  ratio (limit 1.050):            %7.3f | %7.3f\n' "$ratio" "$cpu_ratio"
printf '  one decode pass with peak scan: %7.2f | %7.2f   (wall: %s)\n' "${w[scan]}" "${c[scan]}" "${wall[scan]}"
printf '  normalised script + runner:     %7.2f | %7.2f   (limit (path + scan) x 1.05: %.2f | %.2f)\n' \
  "${w[norm]}" "${c[norm]}" "$allowed" "$cpu_allowed"
holds() { awk "BEGIN {exit !($1)}"; }
ok=1
holds "$ratio <= 1.05" || { echo "FAIL: the program's path is more than 1.05 x bare ffmpeg"; ok=0; }
holds "${w[norm]} <= $allowed" || { echo "FAIL: normalising costs more than one extra decode pass"; ok=0; }
((ok)) && echo "OK"
((ok))
