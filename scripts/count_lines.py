#!/usr/bin/env python3
"""Test lines against code lines: the non-blank lines of the .cpp, .h, .py and
.sh files that git tracks, those under tests/ (the fuzz targets of tests/fuzz/
left out of both sides) against all the others.

  scripts/count_lines.py           the two counts and the share
  scripts/count_lines.py --files   also every test file, largest first
"""

import argparse
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
EXTENSIONS = (".cpp", ".h", ".py", ".sh")


def non_blank(path: Path) -> int:
    return sum(1 for line in path.read_bytes().splitlines() if line.strip())


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--files", action="store_true", help="list the test files by their lines")
    args = parser.parse_args()
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout
    tests: dict[str, int] = {}
    code: dict[str, int] = {}
    fuzz = 0
    for name in sorted(n.decode() for n in names.split(b"\0") if n):
        if not name.endswith(EXTENSIONS) or not (ROOT / name).is_file():
            continue
        lines = non_blank(ROOT / name)
        if name.startswith("tests/fuzz/"):
            fuzz += lines
        elif name.startswith("tests/"):
            tests[name] = lines
        else:
            code[name] = lines
    test_lines = sum(tests.values())
    code_lines = sum(code.values())
    tooling = sum(n for name, n in code.items() if name.startswith("scripts/"))
    print(f"test lines: {test_lines} in {len(tests)} files under tests/")
    print(f"code lines: {code_lines} in {len(code)} files elsewhere "
          f"(of them {tooling} in scripts/, the measuring tools)")
    print(f"left out:   {fuzz} lines of the fuzz targets in tests/fuzz/")
    print(f"share:      test lines are {100 * test_lines / code_lines:.1f} % of code lines "
          f"({100 * test_lines / (code_lines - tooling):.1f} % without scripts/)")
    if args.files:
        for name, lines in sorted(tests.items(), key=lambda item: -item[1]):
            print(f"{lines:7} {name}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
