#!/usr/bin/env bash
# The piped runner must not hold back a talkative child: a child writing 20 MB
# through cStdIO should finish within 10% of the same child writing to /dev/null.
# Usage: bench/runner_throughput.sh [MB] [ROUNDS]   (after ./build.sh test or a build in build/)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
cmake --build build --target tonmill-bench-runner >/dev/null
build/bench/tonmill-bench-runner "${1:-20}" "${2:-5}"
