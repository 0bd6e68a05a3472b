#!/usr/bin/env bash
# Growing the ID3v2 tag of a large MP3 streams the file: adding a tag that
# outgrows the old one to a 500 MB MP3 takes at most twice as long as cp of
# the same file, and the writer's peak memory stays under 64 MB.
# Usage: bench/id3_grow.sh [MB] [ROUNDS]   (after ./build.sh test or a build in
# build/; BUILD=dir selects another build directory)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${BUILD:-build}
mb=${1:-500}
rounds=${2:-7}
cmake --build "$build" --target tonmill-bench-id3 >/dev/null
bench=$build/bench/tonmill-bench-id3

work=$(mktemp -d /tmp/tonmill-bench-id3.XXXXXX)
trap 'rm -rf "$work"' EXIT
song=$work/song.mp3

# A minute of MP3 without tags, repeated until the file is large enough:
# whole frames one after the other are still a valid MP3 stream.
ffmpeg -v error -f lavfi -i sine=frequency=440:duration=60 -c:a libmp3lame -b:a 320k \
  -id3v2_version 0 -write_xing 0 "$work/piece.mp3"
target=$((mb * 1000 * 1000))
cp "$work/piece.mp3" "$song"
while (($(stat -c %s "$song") * 2 <= target)); do
  cat "$song" "$song" > "$work/double.mp3"
  mv "$work/double.mp3" "$song"
done
while (($(stat -c %s "$song") < target)); do
  cat "$work/piece.mp3" >> "$song"
done
"$bench" "$song" small >/dev/null
echo "file: $(stat -c %s "$song") bytes"

now() { date +%s.%N; }
calc() { awk "BEGIN { print $1 }"; }
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# cp and the tag write take turns, so that both see the same machine; the
# medians of the rounds are compared.
cp_times=()
tag_times=()
peak=0
for ((i = 1; i <= rounds; i++)); do
  start=$(now)
  cp "$song" "$work/copy.mp3"
  cp_s=$(calc "$(now) - $start")
  rm "$work/copy.mp3"

  # Timed from the outside like cp, process start included.
  start=$(now)
  out=$("$bench" "$song")
  tag_s=$(calc "$(now) - $start")
  rss=$(sed -n 's/.*peak_rss_kb=\([0-9]*\).*/\1/p' <<<"$out")
  echo "round $i: cp ${cp_s}s, tag ${tag_s}s, peak ${rss} KB ($out)"
  cp_times+=("$cp_s")
  tag_times+=("$tag_s")
  ((rss > peak)) && peak=$rss
done
cp_median=$(median "${cp_times[@]}")
tag_median=$(median "${tag_times[@]}")
ratio=$(calc "$tag_median / $cp_median")
echo "median: cp ${cp_median}s, tag ${tag_median}s, ratio $ratio; peak memory ${peak} KB"
if (($(calc "($ratio > 2)"))) || ((peak >= 64 * 1024)); then
  echo "FAIL: the tag write took more than twice as long as cp, or used 64 MB or more"
  exit 1
fi
echo "PASS: within twice cp's time and under 64 MB"
