#!/usr/bin/env bash
# The piped runner must not hold back a talkative child: a child writing 20 MB
# through cStdIO should finish within 10% of the same child writing to /dev/null.
# Usage: [BUILD=dir] bench/runner_throughput.sh [MB] [ROUNDS] [encoder|burst]
# (build folder: build/ unless BUILD says otherwise). The last line shows what
# merely holding the returned text costs on this machine, child or no child.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
build=${BUILD:-build}
cmake --build "$build" --target tonmill-bench-runner >/dev/null
"$build/bench/tonmill-bench-runner" "${1:-20}" "${2:-5}" ${3:+"$3"}
