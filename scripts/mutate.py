#!/usr/bin/env python3
"""Mutation testing of Tonmill: which of a fixed list of small faults the test
suite catches.

Each mutation of scripts/mutations.txt changes one place of the source (a
flipped comparison, a changed constant, a skipped step...). The script applies
one at a time to the work tree, builds, runs the tests that can notice it, and
puts the file back exactly as it was.

  scripts/mutate.py check [--compile]      the list: every snippet found, counts by area and kind;
                                           --compile also compiles each mutated file (syntax only)
  scripts/mutate.py map                    coverage build (build-cov/) and which lines each test runs
  scripts/mutate.py run [--only ID,ID]     apply, build (build-mut/), test, restore; writes the report
                                           (--plan: only show the tests each mutation would run)
  scripts/mutate.py run --all-tests ...    the same with every test for each mutation (a check of the selection)
  scripts/mutate.py run --first-kill ...   the chosen tests, quickest first, only until one fails: the
                                           same score sooner, without which tests alone kill a mutation
  scripts/mutate.py report [--per-test]    the report again from the stored results

Only the tests that execute a mutated line can fail because of it, so "run"
picks those from the coverage map that "map" makes (each test run alone, its
.gcda files kept apart by GCOV_PREFIX). A mutated line that no test executes,
or that has no code of its own (a constant, a declaration), falls back to the
tests that execute anything in its file; in a header, to every test.

Results go to build-mut/mutation-results.json after each mutation, so that a
run that stops goes on where it stopped; the report to build-mut/mutation-report.md,
the output of each test a mutation made fail to build-mut/mutation/logs/. Both
the map and the results belong to the sources they were made from: once the
sources or the tests change, "map" has to be made again before "run".

Python 3 standard library only; gcov from the compiler. Never more than --jobs
(default 2) builds or tests at once.
"""

from __future__ import annotations

import argparse
import fcntl
import hashlib
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
# Left out of the tree's hash, as they change no verdict: this tooling, the
# documentation and its pictures.
UNHASHED = ("scripts/", "docs/")
DEFAULT_LIST = ROOT / "scripts" / "mutations.txt"
# How a run picks and runs the tests of each mutation, and its heading in the report.
MODES = {"selected": "Tests chosen by coverage", "all": "Every test",
         "first-kill": "Tests chosen by coverage, until the first that fails"}
KINDS = ("comparison", "off-by-one", "constant", "dropped-log", "skipped-step", "swapped-args", "wrong-default")
# The programs the tests start as children; built with every mutation so that
# a test never runs a helper made from other sources than its own.
HELPERS = ("tonmill", "tonmill-run", "tonmill-avs", "tonmill-mediainfo", "tonmill-test-child",
           "tonmill-run-driver", "tonmill-test-smallfs", "tonmill-test-id3write", "tonmill-form-show")


# ---------------------------------------------------------------- the list


@dataclass
class Mutation:
    id: str
    path: str
    kind: str = ""
    what: str = ""
    at: int = 0  # 0: the snippet must be unique
    old: str = ""
    new: str = ""
    record: int = 0  # line of the record in the list
    offset: int = -1
    first_line: int = 0
    last_line: int = 0

    def digest(self) -> str:
        text = "\0".join([self.path, str(self.at), self.old, self.new])
        return hashlib.sha256(text.encode()).hexdigest()[:16]

    def area(self) -> str:
        parts = self.path.split("/")
        return "/".join(parts[:2]) if parts[0] == "tools" else parts[0]


def parse_list(path: Path) -> list[Mutation]:
    mutations: list[Mutation] = []
    current: Mutation | None = None
    old: list[str] = []
    new: list[str] = []
    errors: list[str] = []

    def close():
        if current is None:
            return
        current.old = "\n".join(old)
        current.new = "\n".join(new)
        if not old:
            errors.append(f"{current.id}: no original line")
        if current.kind not in KINDS:
            errors.append(f"{current.id}: unknown kind {current.kind!r}")
        if not current.what:
            errors.append(f"{current.id}: no description")
        if current.old == current.new:
            errors.append(f"{current.id}: the replacement equals the original")
        mutations.append(current)

    for number, raw in enumerate(path.read_text().splitlines(), 1):
        if raw.startswith("## "):
            close()
            words = raw[3:].split()
            if len(words) != 2:
                errors.append(f"line {number}: expected '## ID path'")
                current = None
                continue
            current = Mutation(words[0], words[1], record=number)
            old, new = [], []
        elif current is None or raw.startswith("# ") or raw == "#" or not raw.strip():
            continue
        elif raw.startswith("kind:"):
            current.kind = raw[5:].strip()
        elif raw.startswith("what:"):
            current.what = raw[5:].strip()
        elif raw.startswith("at:"):
            current.at = int(raw[3:])
        elif raw.startswith("- "):
            old.append(raw[2:])
        elif raw == "+":
            new.append("")
        elif raw.startswith("+ "):
            new.append(raw[2:])
        else:
            errors.append(f"line {number}: cannot read {raw!r}")
    close()
    seen: set[str] = set()
    for m in mutations:
        if m.id in seen:
            errors.append(f"{m.id}: the id is used twice")
        seen.add(m.id)
    if errors:
        raise SystemExit("mutations list:\n  " + "\n  ".join(errors))
    return mutations


def locate(m: Mutation, text: str) -> str | None:
    """Finds the snippet in the file's text; why not, or None."""
    starts: list[int] = []
    at = text.find(m.old)
    while m.old and at >= 0:
        starts.append(at)
        at = text.find(m.old, at + 1)
    if m.at == 0 and len(starts) != 1:
        return f"the original occurs {len(starts)} times in {m.path} (give 'at: N')"
    if m.at and len(starts) < m.at:
        return f"the original occurs {len(starts)} times in {m.path}, not at least {m.at}"
    m.offset = starts[(m.at or 1) - 1]
    m.first_line = text.count("\n", 0, m.offset) + 1
    m.last_line = m.first_line + m.old.count("\n")
    return None


def load_mutations(list_path: Path, only: str | None) -> list[Mutation]:
    mutations = parse_list(list_path)
    if only:
        wanted = [w.strip() for w in only.split(",") if w.strip()]
        known = {m.id for m in mutations}
        unknown = [w for w in wanted if w not in known]
        if unknown:
            raise SystemExit("unknown mutation ids: " + ", ".join(unknown))
        mutations = [m for m in mutations if m.id in wanted]
    problems = []
    for m in mutations:
        file = ROOT / m.path
        if not file.is_file():
            problems.append(f"{m.id}: no file {m.path}")
            continue
        if why := locate(m, file.read_text()):
            problems.append(f"{m.id}: {why}")
    if problems:
        raise SystemExit("mutations that cannot be applied:\n  " + "\n  ".join(problems))
    return mutations


# ---------------------------------------------------------------- helpers


def sha256(data: bytes) -> str:
    return hashlib.sha256(data).hexdigest()


def tree_hash() -> str:
    """The sources and tests as they stand."""
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT, check=True,
                           capture_output=True).stdout.split(b"\0")
    digest = hashlib.sha256()
    for name in sorted(n.decode() for n in names if n):
        if name.startswith(UNHASHED) or name.endswith(".md") or not (ROOT / name).is_file():
            continue
        digest.update(name.encode() + b"\0" + (ROOT / name).read_bytes() + b"\0")
    return digest.hexdigest()[:20]


def say(text: str) -> None:
    print(text, flush=True)


_lock_file = None


def lock_tree() -> None:
    """One run of this script at a time on this work tree: another would see
    the mutation under way as the source, or put the file back under it."""
    global _lock_file
    name = hashlib.sha256(str(ROOT).encode()).hexdigest()[:12]
    path = Path("/tmp") / f"tonmill-mutate-{name}.lock"
    _lock_file = path.open("a+")
    try:
        fcntl.flock(_lock_file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        _lock_file.seek(0)
        raise SystemExit(f"another scripts/mutate.py works on {ROOT} (process {_lock_file.read().strip() or '?'}); "
                         "wait for it to end")
    _lock_file.truncate(0)
    _lock_file.write(str(os.getpid()))
    _lock_file.flush()


def run_logged(command: list[str], log: Path, cwd: Path = ROOT, env: dict | None = None) -> bool:
    log.parent.mkdir(parents=True, exist_ok=True)
    with log.open("w") as out:
        result = subprocess.run(command, cwd=cwd, stdout=out, stderr=subprocess.STDOUT, env=env)
    return result.returncode == 0


def to_ranges(lines) -> list[list[int]]:
    ranges: list[list[int]] = []
    for n in sorted(set(lines)):
        if ranges and ranges[-1][1] == n - 1:
            ranges[-1][1] = n
        else:
            ranges.append([n, n])
    return ranges


def from_ranges(ranges) -> set[int]:
    lines: set[int] = set()
    for a, b in ranges:
        lines.update(range(a, b + 1))
    return lines


# ---------------------------------------------------------------- processes

_running: set[subprocess.Popen] = set()
_running_lock = threading.Lock()


def stop_running() -> None:
    """Ends the test runs this script started (each leads its own process group)."""
    with _running_lock:
        for process in list(_running):
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass


def on_termination(number, frame):
    raise KeyboardInterrupt(f"signal {number}")


@dataclass
class TestRun:
    name: str
    passed: bool
    timed_out: bool
    seconds: float
    output: str
    functions: list[str] = field(default_factory=list)


FAIL_LINE = re.compile(r"^FAIL!\s*:\s*([\w:]+?)\(", re.M)


def instrumented(build: Path) -> bool:
    cache = build / "CMakeCache.txt"
    return cache.exists() and "--coverage" in cache.read_text()


def run_test(build: Path, name: str, timeout: float, env: dict | None = None) -> TestRun:
    command = ["ctest", "--test-dir", str(build), "-R", f"^{re.escape(name)}$", "--output-on-failure",
               "--no-tests=error"]
    scratch = None
    if env is None and instrumented(build):
        # Mutants built with coverage write their counts apart, where no count
        # of another build of the same object can be merged with them (and
        # complained about on the programs' standard error).
        scratch = build / "mutation" / "gcov-scratch" / name
        shutil.rmtree(scratch, ignore_errors=True)
        scratch.mkdir(parents=True)
        env = dict(os.environ, GCOV_PREFIX=str(scratch), GCOV_PREFIX_STRIP="0")
    started = time.monotonic()
    process = subprocess.Popen(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               env=env, start_new_session=True)
    with _running_lock:
        _running.add(process)
    timed_out = False
    try:
        output, _ = process.communicate(timeout=timeout)
    except subprocess.TimeoutExpired:
        timed_out = True
        os.killpg(process.pid, signal.SIGKILL)
        output, _ = process.communicate()
    finally:
        with _running_lock:
            _running.discard(process)
        if scratch is not None:
            shutil.rmtree(scratch, ignore_errors=True)
    text = output.decode(errors="replace")
    if "***Timeout" in text:
        timed_out = True
    passed = process.returncode == 0 and not timed_out
    functions = sorted(set(FAIL_LINE.findall(text))) if not passed else []
    return TestRun(name, passed, timed_out, time.monotonic() - started, text, functions)


def in_pool(jobs: int, work, items: list) -> list:
    """work(item) for each item, jobs at once; an interruption ends the runs
    under way before it goes on."""
    pool = ThreadPoolExecutor(max_workers=jobs)
    try:
        futures = [pool.submit(work, item) for item in items]
        return [f.result() for f in futures]
    except BaseException:
        pool.shutdown(wait=False, cancel_futures=True)
        stop_running()
        pool.shutdown(wait=True)
        stop_running()
        raise
    finally:
        pool.shutdown(wait=True)


def run_tests(build: Path, names: list[str], timeouts: dict[str, float], jobs: int,
              env: dict | None = None) -> dict[str, TestRun]:
    # Longest first, so that two workers end close together.
    order = sorted(names, key=lambda n: -timeouts.get(n, 0))
    runs = in_pool(jobs, lambda n: run_test(build, n, timeouts.get(n, 900), env), order)
    return dict(zip(order, runs))


def run_until_killed(build: Path, names: list[str], timeouts: dict[str, float], jobs: int) -> dict[str, TestRun]:
    """The tests, quickest first, until one fails: that settles the mutation.
    Tests stopped or never started because of it are left out of the answer,
    so a mutation that survives has run every one of them."""
    order = sorted(names, key=lambda n: timeouts.get(n, 0))
    decided = threading.Event()
    lock = threading.Lock()

    def one(name: str) -> TestRun | None:
        if decided.is_set():
            return None
        run = run_test(build, name, timeouts.get(name, 900))
        with lock:
            if decided.is_set():
                return None
            if not run.passed:
                decided.set()
        if not run.passed:
            stop_running()
        return run

    runs = in_pool(jobs, one, order)
    return {name: run for name, run in zip(order, runs) if run is not None}


def list_tests(build: Path) -> list[dict]:
    out = subprocess.run(["ctest", "--test-dir", str(build), "--show-only=json-v1"], cwd=ROOT,
                         capture_output=True, check=True).stdout
    return json.loads(out).get("tests", [])


def test_targets(build: Path, tests: list[dict], names: set[str]) -> list[str] | None:
    """The targets that make the given tests' programs; None: everything."""
    targets: set[str] = set()
    for test in tests:
        if test["name"] not in names:
            continue
        command = test.get("command") or [""]
        program = Path(command[0])
        if not program.is_absolute():
            return None
        try:
            program.resolve().relative_to(build.resolve())
        except ValueError:
            return None  # a script or a system tool that may use any part of the build
        targets.add(program.name)
    return sorted(targets)


def existing_targets(build: Path, names) -> list[str]:
    """Those of the names that the build knows as targets (asked with a dry run)."""
    return [n for n in names if subprocess.run(["cmake", "--build", str(build), "--target", n, "--", "-n"],
                                               capture_output=True).returncode == 0]


def build(build_dir: Path, targets: list[str] | None, jobs: int, log: Path) -> bool:
    command = ["cmake", "--build", str(build_dir), "-j", str(jobs)]
    if targets is not None:
        command += ["--target", *targets]
    return run_logged(command, log)


# ---------------------------------------------------------------- the coverage map


def faster_linker() -> str:
    # Each mutant relinks every program that holds the library; lld does that
    # in seconds where the default linker takes a minute or more.
    return "-fuse-ld=lld" if shutil.which("ld.lld") else ""


def configure(build_dir: Path, extra: list[str], log: Path) -> None:
    command = ["cmake", "-S", str(ROOT), "-B", str(build_dir), "-G", "Ninja", "-DTONMILL_BUILD_TESTS=ON", *extra]
    if not run_logged(command, log):
        raise SystemExit(f"configuring {build_dir} failed; see {log}")


def gcov_lines(gcda_root: Path, cov_dir: Path) -> tuple[dict[str, set[int]], dict[str, set[int]]]:
    """Lines run and lines with code, per file of the repository, from the .gcda
    files that one test left under gcda_root (a GCOV_PREFIX tree)."""
    run: dict[str, set[int]] = {}
    code: dict[str, set[int]] = {}
    files = sorted(gcda_root.rglob("*.gcda"))
    if not files:
        return run, code
    # gcov wants the notes file beside the data file.
    mirror = gcda_root / str(cov_dir.resolve()).lstrip("/")
    for gcda in files:
        try:
            relative = gcda.relative_to(mirror)
        except ValueError:
            continue
        gcno = (cov_dir / relative).with_suffix(".gcno")
        link = gcda.with_suffix(".gcno")
        if gcno.exists() and not link.exists():
            link.symlink_to(gcno)
    root = str(ROOT.resolve()) + "/"
    build_dirs = tuple(str(p.resolve()) + "/" for p in ROOT.glob("build*"))
    for start in range(0, len(files), 40):
        batch = [str(f) for f in files[start:start + 40]]
        result = subprocess.run(["gcov", "--json-format", "--stdout", *batch], cwd=gcda_root,
                                capture_output=True)
        text = result.stdout.decode(errors="replace")
        decoder = json.JSONDecoder()
        position = 0
        while True:
            while position < len(text) and text[position].isspace():
                position += 1
            if position >= len(text):
                break
            document, position = decoder.raw_decode(text, position)
            base = document.get("current_working_directory", "")
            for entry in document.get("files", []):
                name = entry["file"]
                path = os.path.normpath(name if os.path.isabs(name) else os.path.join(base, name))
                if not path.startswith(root) or path.startswith(build_dirs):
                    continue
                relative = path[len(root):]
                for line in entry.get("lines", []):
                    code.setdefault(relative, set()).add(line["line_number"])
                    if line["count"] > 0:
                        run.setdefault(relative, set()).add(line["line_number"])
    return run, code


def cmd_map(args) -> None:
    lock_tree()
    cov = Path(args.cov_dir).resolve()
    cov.mkdir(parents=True, exist_ok=True)
    started = time.monotonic()
    wrapper = cov / "gcov_exit.o"
    subprocess.run(["gcc", "-c", "-O0", "-o", str(wrapper), str(ROOT / "scripts" / "gcov_exit.c")], check=True)
    configure(cov, ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=--coverage",
                    f"-DCMAKE_EXE_LINKER_FLAGS={faster_linker()} --coverage -Wl,--wrap=_exit {wrapper}"],
              cov / "mutation-configure.log")
    say(f"== building the coverage build in {cov}")
    if not build(cov, None, args.jobs, cov / "mutation-build.log"):
        raise SystemExit(f"the coverage build failed; see {cov / 'mutation-build.log'}")
    built = time.monotonic()
    tree = tree_hash()
    tests = [t["name"] for t in list_tests(cov)]
    if args.only_tests:
        tests = [t for t in tests if t in args.only_tests.split(",")]
    runs_dir = cov / "mutation-coverage-runs"
    shutil.rmtree(runs_dir, ignore_errors=True)
    say(f"== running {len(tests)} tests one by one, {args.jobs} at once, each with its own coverage")

    def one(name: str):
        prefix = runs_dir / name
        prefix.mkdir(parents=True)
        env = dict(os.environ, GCOV_PREFIX=str(prefix), GCOV_PREFIX_STRIP="0")
        result = run_test(cov, name, args.test_timeout, env)
        lines_run, lines_code = gcov_lines(prefix, cov)
        shutil.rmtree(prefix, ignore_errors=True)
        say(f"  {name}: {'passed' if result.passed else 'FAILED'} in {result.seconds:.0f} s, "
            f"{sum(len(v) for v in lines_run.values())} lines run in {len(lines_run)} files")
        return result, lines_run, lines_code

    signal.signal(signal.SIGTERM, on_termination)
    results = dict(zip(tests, in_pool(args.jobs, one, tests)))
    code: dict[str, set[int]] = {}
    data = {"tree": tree, "built_seconds": round(built - started), "tests": {}, "code": {}}
    for name, (result, lines_run, lines_code) in results.items():
        for path, lines in lines_code.items():
            code.setdefault(path, set()).update(lines)
        data["tests"][name] = {"passed": result.passed, "seconds": round(result.seconds, 1),
                               "files": {p: to_ranges(v) for p, v in sorted(lines_run.items())}}
    data["code"] = {p: to_ranges(v) for p, v in sorted(code.items())}
    data["map_seconds"] = round(time.monotonic() - started)
    target = cov / "mutation-coverage.json"
    target.write_text(json.dumps(data, separators=(",", ":")))
    failed = [n for n, (r, _, _) in results.items() if not r.passed]
    # A program started without the test's environment writes its counts into
    # the build itself, where no test can be told from another.
    stray = [p for p in cov.rglob("*.gcda") if runs_dir not in p.parents]
    if stray:
        say(f"   {len(stray)} .gcda files were written outside the tests' own folders (a child started "
            f"without their environment), e.g. {stray[0]}; their lines count for no test")
    say(f"== coverage map of {len(tests)} tests in {target}: build {data['built_seconds']} s, "
        f"whole map {data['map_seconds']} s")
    if failed:
        say("   failed in the coverage build (their coverage up to the failure is kept): " + ", ".join(failed))


class CoverageMap:
    def __init__(self, path: Path):
        data = json.loads(path.read_text())
        self.tree = data["tree"]
        self.seconds = {n: t["seconds"] for n, t in data["tests"].items()}
        self.passed = {n for n, t in data["tests"].items() if t["passed"]}
        self.files = {n: {p: from_ranges(r) for p, r in t["files"].items()} for n, t in data["tests"].items()}
        self.code = {p: from_ranges(r) for p, r in data["code"].items()}
        self.map_seconds = data.get("map_seconds")

    def select(self, m: Mutation, everyone: list[str]) -> tuple[list[str], str]:
        unknown = [t for t in everyone if t not in self.files]
        if unknown:
            raise SystemExit(f"the coverage map has no {', '.join(unknown)}: run 'map' again")
        usable = list(everyone)
        lines = range(m.first_line, m.last_line + 1)
        with_code = [n for n in lines if n in self.code.get(m.path, ())]
        if with_code:
            hit = [t for t in usable if any(n in self.files[t].get(m.path, ()) for n in with_code)]
            if hit:
                return hit, "line"
            basis = "file (no test runs the line)"
        else:
            basis = "file (no code on the line)"
        if m.path.endswith(".h"):
            return usable, "all (a header)"
        return [t for t in usable if self.files[t].get(m.path)], basis


# ---------------------------------------------------------------- applying


class Applied:
    """The mutation in the file for the time of a with-block; the original
    back afterwards whatever happens, checked by its hash. A copy on disk lets
    a later run restore the file should this process be killed outright."""

    def __init__(self, m: Mutation, backup_dir: Path, keep_time: bool = False):
        # keep_time: the file gets its old modification time back, for a check
        # that builds nothing; after a build the restored file must look newer
        # than what was built from the mutant.
        self.keep_time = keep_time
        self.m = m
        self.file = ROOT / m.path
        self.backup = backup_dir / "file"
        self.note = backup_dir / "mutated.json"
        self.original = b""

    def __enter__(self):
        self.original = self.file.read_bytes()
        self.times = os.stat(self.file)
        text = self.original.decode()
        if text[self.m.offset:self.m.offset + len(self.m.old)] != self.m.old:
            raise SystemExit(f"{self.m.id}: the file changed since the list was read")
        self.backup.parent.mkdir(parents=True, exist_ok=True)
        self.backup.write_bytes(self.original)
        self.note.write_text(json.dumps({"path": self.m.path, "sha256": sha256(self.original)}))
        mutated = text[:self.m.offset] + self.m.new + text[self.m.offset + len(self.m.old):]
        self.file.write_bytes(mutated.encode())
        return self

    def __exit__(self, *exc):
        self.file.write_bytes(self.original)
        if sha256(self.file.read_bytes()) != sha256(self.original):
            raise SystemExit(f"{self.m.path} could not be restored; the original is in {self.backup}")
        if self.keep_time:
            os.utime(self.file, ns=(self.times.st_atime_ns, self.times.st_mtime_ns))
        self.note.unlink(missing_ok=True)
        self.backup.unlink(missing_ok=True)
        return False


def recover(backup_dir: Path) -> None:
    note = backup_dir / "mutated.json"
    if not note.exists():
        return
    info = json.loads(note.read_text())
    original = (backup_dir / "file").read_bytes()
    if sha256(original) != info["sha256"]:
        raise SystemExit(f"the backup of {info['path']} in {backup_dir} is damaged; restore it with git")
    file = ROOT / info["path"]
    if file.read_bytes() != original:
        file.write_bytes(original)
        say(f"== restored {info['path']}, left mutated by an earlier run that was killed")
    note.unlink()
    (backup_dir / "file").unlink()


# ---------------------------------------------------------------- running


def load_results(path: Path, tree: str) -> dict:
    if path.exists():
        data = json.loads(path.read_text())
        if data.get("tree") == tree:
            return data
        say(f"== the sources changed since {path.name} was written; starting new results")
    return {"tree": tree, "baseline": {}, "runs": {mode: {} for mode in MODES}}


def save_results(path: Path, data: dict) -> None:
    temporary = path.with_suffix(".tmp")
    temporary.write_text(json.dumps(data, indent=1))
    temporary.replace(path)


def cmd_run(args) -> None:
    build_dir = Path(args.build_dir).resolve()
    cov_dir = Path(args.cov_dir).resolve()
    work = build_dir / "mutation"
    work.mkdir(parents=True, exist_ok=True)
    signal.signal(signal.SIGTERM, on_termination)
    lock_tree()
    recover(work / "backup")
    mutations = load_mutations(Path(args.list), args.only)
    tree = tree_hash()
    mode = "all" if args.all_tests else "first-kill" if args.first_kill else "selected"

    cmap = None
    map_path = cov_dir / "mutation-coverage.json"
    if map_path.exists():
        cmap = CoverageMap(map_path)
        if cmap.tree != tree and not args.allow_stale_map:
            raise SystemExit(f"{map_path} was made from other sources; run 'map' again "
                             "(or give --allow-stale-map)")
    elif not args.all_tests:
        raise SystemExit(f"no coverage map at {map_path}: run 'scripts/mutate.py map' first, or give --all-tests")

    if args.plan:
        names = list(cmap.files) if cmap else []
        for m in mutations:
            chosen, basis = (names, "all (asked for)") if args.all_tests or not cmap else cmap.select(m, names)
            say(f"{m.id:5} {m.path}:{m.first_line}  {len(chosen)} tests ({basis}): {' '.join(sorted(chosen))}")
        return
    if not (build_dir / "CMakeCache.txt").exists():
        configure(build_dir, ["-DCMAKE_BUILD_TYPE=RelWithDebInfo", f"-DCMAKE_EXE_LINKER_FLAGS={faster_linker()}"],
                  work / "configure.log")
    # The unmutated build first: the tests' programs are known once they exist.
    say(f"== building the unmutated tree in {build_dir}")
    if not build(build_dir, None, args.jobs, work / "build-baseline.log"):
        raise SystemExit(f"the unmutated tree does not build; see {work / 'build-baseline.log'}")
    tests = list_tests(build_dir)
    everyone = [t["name"] for t in tests]
    helpers = existing_targets(build_dir, HELPERS)
    # A test's time limit: its time in the slower coverage build, twice over, and a minute.
    timeouts = {n: (2 * cmap.seconds.get(n, 300) + 60) if cmap else 900 for n in everyone}

    results_path = build_dir / "mutation-results.json"
    results = load_results(results_path, tree)
    done = results["runs"].setdefault(mode, {})

    plan = []
    for m in mutations:
        if args.all_tests or cmap is None:
            chosen, basis = list(everyone), "all (asked for)"
        else:
            chosen, basis = cmap.select(m, everyone)
        previous = done.get(m.id)
        if previous and previous.get("digest") == m.digest() and not args.fresh:
            continue
        plan.append((m, chosen, basis))
    if not plan:
        say("== every asked-for mutation has a result already (give --fresh to run them again)")
        write_report(results, build_dir, args)
        return

    # Which of the tests needed pass without any mutation.
    needed = sorted({t for _, chosen, _ in plan for t in chosen})
    unknown = [t for t in needed if t not in results["baseline"]]
    if unknown and not args.no_baseline:
        say(f"== baseline: {len(unknown)} tests on the unmutated tree")
        try:
            for name, r in run_tests(build_dir, unknown, timeouts, args.jobs).items():
                results["baseline"][name] = {"passed": r.passed, "seconds": round(r.seconds, 1)}
                if not r.passed:
                    log = work / "logs" / "baseline" / f"{name}.log"
                    log.parent.mkdir(parents=True, exist_ok=True)
                    log.write_text(r.output)
                    say(f"   {name} FAILS without any mutation ({log}); it is left out")
        except KeyboardInterrupt:
            raise SystemExit(130)
        save_results(results_path, results)
    broken = {n for n, b in results["baseline"].items() if not b["passed"]}

    say(f"== {len(plan)} mutations, {mode} tests")
    for index, (m, chosen, basis) in enumerate(plan, 1):
        chosen = [t for t in chosen if t not in broken]
        entry = {"id": m.id, "path": m.path, "kind": m.kind, "what": m.what, "lines": [m.first_line, m.last_line],
                 "digest": m.digest(), "basis": basis, "selected": chosen, "killers": [], "timeouts": [],
                 "functions": {}, "build_seconds": 0, "test_seconds": 0}
        started = time.monotonic()
        logs = work / "logs" / mode / m.id
        shutil.rmtree(logs, ignore_errors=True)
        try:
            with Applied(m, work / "backup"):
                if not chosen:
                    entry["status"] = "survived"
                    entry["note"] = "no test runs this file"
                else:
                    targets = None if args.all_tests else test_targets(build_dir, tests, set(chosen))
                    if targets is not None:
                        targets = sorted(set(targets) | set(helpers))
                    built = build(build_dir, targets, args.jobs, logs / "build.log")
                    entry["build_seconds"] = round(time.monotonic() - started, 1)
                    if not built:
                        entry["status"] = "did not build"
                    else:
                        tested = time.monotonic()
                        runs = (run_until_killed(build_dir, chosen, timeouts, args.jobs) if args.first_kill
                                else run_tests(build_dir, chosen, timeouts, args.jobs))
                        entry["test_seconds"] = round(time.monotonic() - tested, 1)
                        for name, r in runs.items():
                            if r.passed:
                                continue
                            (logs / f"{name}.log").write_text(r.output)
                            (entry["timeouts"] if r.timed_out else entry["killers"]).append(name)
                            if r.functions:
                                entry["functions"][name] = r.functions
                        entry["status"] = ("killed" if entry["killers"] else
                                           "timed out" if entry["timeouts"] else "survived")
        except KeyboardInterrupt:
            stop_running()
            say(f"== interrupted during {m.id}; {m.path} is restored")
            save_results(results_path, results)
            raise SystemExit(130)
        entry["seconds"] = round(time.monotonic() - started, 1)
        done[m.id] = entry
        save_results(results_path, results)
        killers = ", ".join(entry["killers"] + [f"{t} (timeout)" for t in entry["timeouts"]])
        say(f"[{index}/{len(plan)}] {m.id} {m.path}:{m.first_line} {entry['status']}"
            f"{' by ' + killers if killers else ''} — {len(chosen)} tests ({basis}), {entry['seconds']:.0f} s")

    if tree_hash() != tree:
        raise SystemExit("the sources differ from before the run: check 'git status'")
    write_report(results, build_dir, args)


# ---------------------------------------------------------------- the report


def score_line(entries: list[dict]) -> str:
    built = [e for e in entries if e["status"] != "did not build"]
    killed = [e for e in built if e["status"] == "killed"]
    timed = [e for e in built if e["status"] == "timed out"]
    not_built = len(entries) - len(built)
    text = f"killed {len(killed) + len(timed)} of {len(built)} built"
    if built:
        text += f" ({100 * (len(killed) + len(timed)) / len(built):.1f} %)"
    if timed:
        text += f"; {len(timed)} of them by a timeout"
    if not_built:
        text += f"; {not_built} did not build"
    return text


def per_test_lines(entries: list[dict]) -> list[str]:
    kills: dict[str, list[str]] = {}
    for e in entries:
        for t in e["killers"] + e["timeouts"]:
            kills.setdefault(t, []).append(e["id"])
    lines = ["## Per test", "", "| test | mutations it kills | ids |", "| --- | --- | --- |"]
    for t in sorted(kills, key=lambda t: (-len(kills[t]), t)):
        lines.append(f"| {t} | {len(kills[t])} | {' '.join(kills[t])} |")
    lines += ["", "## Mutations that only one test kills", "",
              "| mutation | the one test | its failing functions |", "| --- | --- | --- |"]
    for e in entries:
        killers = e["killers"] + e["timeouts"]
        if len(killers) == 1:
            functions = ", ".join(e["functions"].get(killers[0], []))
            lines.append(f"| {e['id']} | {killers[0]} | {functions} |")
    lines += ["", "## Mutations that only one test function kills", "",
              "| mutation | the one function |", "| --- | --- |"]
    for e in entries:
        functions = [f for fs in e["functions"].values() for f in fs]
        if len(e["killers"]) == 1 and not e["timeouts"] and len(functions) == 1:
            lines.append(f"| {e['id']} | {functions[0]} |")
    return lines


def write_report(results: dict, build_dir: Path, args) -> None:
    order = {m.id: i for i, m in enumerate(parse_list(Path(args.list)))}
    out: list[str] = ["# Mutation report", "", f"Sources: {results['tree']}; written {time.strftime('%Y-%m-%d %H:%M')}.", ""]
    map_path = Path(args.cov_dir) / "mutation-coverage.json"
    if map_path.exists():
        cmap = json.loads(map_path.read_text())
        out += [f"Coverage map: {len(cmap['tests'])} tests, sources {cmap['tree']}"
                f"{'' if cmap['tree'] == results['tree'] else ' (OTHER SOURCES)'}; the coverage build took "
                f"{cmap['built_seconds']} s, the whole map {cmap['map_seconds']} s.", ""]
    # Results of mutations that have left the list, or changed, do not count.
    current = {m.id: m.digest() for m in parse_list(Path(args.list))}
    for mode in list(results["runs"]):
        runs = results["runs"][mode]
        stale = [i for i, e in runs.items() if current.get(i) != e.get("digest")]
        if stale:
            say(f"== left out of the {mode} report, no longer in the list as they ran: {', '.join(stale)}")
        results["runs"][mode] = {i: e for i, e in runs.items() if i not in stale}
    modes = [m for m in MODES if results["runs"].get(m)]
    for mode in modes:
        entries = sorted(results["runs"][mode].values(), key=lambda e: order.get(e["id"], 10**6))
        out += [f"## {MODES[mode]}: {score_line(entries)}", "",
                "| id | file:line | kind | what | status | killed by | tests run | seconds |",
                "| --- | --- | --- | --- | --- | --- | --- | --- |"]
        for e in entries:
            killers = ", ".join(e["killers"] + [f"{t} (timeout)" for t in e["timeouts"]])
            run_note = f"{len(e['selected'])} ({e['basis']})" + (f"; {e['note']}" if e.get("note") else "")
            out.append(f"| {e['id']} | {e['path']}:{e['lines'][0]} | {e['kind']} | {e['what']} | {e['status']} "
                       f"| {killers} | {run_note} | {e['seconds']:.0f} |")
        survivors = [e for e in entries if e["status"] == "survived"]
        if survivors:
            out += ["", "Survivors and the tests that ran for them:", ""]
            out += [f"- {e['id']}: {', '.join(e['selected']) or 'none'}" for e in survivors]
        seconds = [e["seconds"] for e in entries]
        out += ["", f"Average time per mutation: {sum(seconds) / len(seconds):.0f} s "
                    f"(build {sum(e['build_seconds'] for e in entries) / len(entries):.0f} s, "
                    f"tests {sum(e['test_seconds'] for e in entries) / len(entries):.0f} s).", ""]
    if "selected" in modes and "all" in modes:
        both = set(results["runs"]["selected"]) & set(results["runs"]["all"])
        out += ["## The selection against every test", ""]
        for i in sorted(both, key=lambda i: order.get(i, 10**6)):
            s, a = results["runs"]["selected"][i], results["runs"]["all"][i]
            same = s["status"] == a["status"] and set(s["killers"]) == set(a["killers"])
            out.append(f"- {i}: chosen tests {s['status']} ({', '.join(s['killers']) or 'none'}), every test "
                       f"{a['status']} ({', '.join(a['killers']) or 'none'}){'' if same else ' — DIFFERENT'}")
        out.append("")
    # Which test alone kills a mutation is known only where every chosen test ran.
    complete = [m for m in modes if m != "first-kill"]
    if complete:
        entries = sorted(results["runs"][complete[0]].values(), key=lambda e: order.get(e["id"], 10**6))
        out += per_test_lines(entries)
    report = Path(args.report) if args.report else build_dir / "mutation-report.md"
    report.write_text("\n".join(out) + "\n")
    for mode in modes:
        say(f"== {mode} tests: {score_line(list(results['runs'][mode].values()))}")
    say(f"== report: {report}")
    if args.per_test and complete:
        say("\n".join(per_test_lines(sorted(results["runs"][complete[0]].values(),
                                              key=lambda e: order.get(e["id"], 10**6)))))


def cmd_report(args) -> None:
    build_dir = Path(args.build_dir).resolve()
    path = build_dir / "mutation-results.json"
    if not path.exists():
        raise SystemExit(f"no results in {path}")
    write_report(json.loads(path.read_text()), build_dir, args)


def syntax_errors(m: Mutation, commands: list[dict]) -> str | None:
    """The compiler's complaints about the mutated file, checked without
    building anything; None when it has none."""
    entries = [e for e in commands if os.path.realpath(e["file"]) == str((ROOT / m.path).resolve())]
    if not entries:
        return "no compile command for this file (a header is checked by building)"
    words = shlex.split(entries[0]["command"])
    kept: list[str] = []
    skip = False
    for word in words:
        if skip:
            skip = False
        elif word in ("-o", "-MF", "-MT"):
            skip = True
        elif word not in ("-c", "-MD"):
            kept.append(word)
    result = subprocess.run(kept + ["-fsyntax-only"], cwd=entries[0]["directory"], capture_output=True, text=True)
    return None if result.returncode == 0 else result.stderr.strip()


def cmd_check(args) -> None:
    lock_tree()
    mutations = load_mutations(Path(args.list), args.only)
    if args.compile:
        commands_path = Path(args.build_dir) / "compile_commands.json"
        if not commands_path.exists():
            raise SystemExit(f"no {commands_path}: configure that build first")
        commands = json.loads(commands_path.read_text())
        work = Path(args.build_dir).resolve() / "mutation"
        signal.signal(signal.SIGTERM, on_termination)
        recover(work / "backup")
        failed = 0
        for m in mutations:
            with Applied(m, work / "backup", keep_time=True):
                why = syntax_errors(m, commands)
            if why:
                failed += 1
                say(f"{m.id}: {why.splitlines()[0] if why.startswith('no compile') else 'does not compile:'}")
                if not why.startswith("no compile"):
                    say("    " + "\n    ".join(why.splitlines()[:6]))
        say(f"{len(mutations) - failed} of {len(mutations)} mutations compile")
    by_area: dict[str, int] = {}
    by_kind: dict[str, int] = {}
    for m in mutations:
        by_area[m.area()] = by_area.get(m.area(), 0) + 1
        by_kind[m.kind] = by_kind.get(m.kind, 0) + 1
    say(f"{len(mutations)} mutations, every original found where the list says")
    say("by area: " + ", ".join(f"{a} {n}" for a, n in sorted(by_area.items())))
    say("by kind: " + ", ".join(f"{k} {n}" for k, n in sorted(by_kind.items())))
    if args.verbose:
        for m in mutations:
            say(f"{m.id:5} {m.path}:{m.first_line}  {m.kind:13} {m.what}")


def main() -> None:
    common = argparse.ArgumentParser(add_help=False)
    common.add_argument("--list", default=str(DEFAULT_LIST), help="the mutations list")
    common.add_argument("--build-dir", default=str(ROOT / "build-mut"), help="where mutants are built")
    common.add_argument("--cov-dir", default=str(ROOT / "build-cov"), help="the coverage build")
    common.add_argument("--jobs", type=int, default=2, help="builds and tests at once (default 2)")
    common.add_argument("--report", help="where the markdown report goes (default BUILD_DIR/mutation-report.md)")
    common.add_argument("--per-test", action="store_true", help="also print which mutations each test kills")
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    sub = parser.add_subparsers(dest="command", required=True)
    check = sub.add_parser("check", parents=[common], help="read the list and find every snippet")
    check.add_argument("--only")
    check.add_argument("-v", "--verbose", action="store_true")
    check.add_argument("--compile", action="store_true",
                       help="also compile each mutated file (syntax only, with BUILD_DIR's compile commands)")
    cmap = sub.add_parser("map", parents=[common], help="coverage build and the lines each test runs")
    cmap.add_argument("--only-tests", help="comma-separated test names (default: all)")
    cmap.add_argument("--test-timeout", type=float, default=1200)
    run = sub.add_parser("run", parents=[common], help="apply the mutations one by one and test")
    run.add_argument("--only", help="comma-separated mutation ids")
    which = run.add_mutually_exclusive_group()
    which.add_argument("--all-tests", action="store_true", help="run every test for each mutation")
    which.add_argument("--first-kill", action="store_true",
                     help="chosen tests, quickest first, only until one fails (the score alone, sooner)")
    run.add_argument("--fresh", action="store_true", help="run again mutations that have a result")
    run.add_argument("--no-baseline", action="store_true", help="do not check the tests on the unmutated tree")
    run.add_argument("--allow-stale-map", action="store_true")
    run.add_argument("--plan", action="store_true", help="only show which tests each mutation would run")
    sub.add_parser("report", parents=[common], help="write the report from the stored results")
    args = parser.parse_args()
    {"check": cmd_check, "map": cmd_map, "run": cmd_run, "report": cmd_report}[args.command](args)


if __name__ == "__main__":
    main()
