#!/usr/bin/env bash
# Crashes a recording host N times in all (default 100), shared among every kind of death the crash
# handlers know (uncaught exception, SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, stack
# overflow, a secondary thread, two threads at once, a crash while another thread or the crashing one
# is in the middle of a store write). After each crash the same program starts again, as a user
# would, and uploads what the dead one left to a local obx-collector. Prints per kind: runs, crash
# events due and arrived, deaths by another signal than the kind's own, the slowest end (from the
# fault to the process's end, in milliseconds), and next starts that did not end cleanly.
#
# Usage: scripts/crash_soak.sh [N] [build dir]     N defaults to 100, the build dir to ./build.
# Needs the targets obx-crash-child and obx-collector built.
set -euo pipefail

runs="${1:-100}"
build="${2:-build}"
child="$build/tests/obx-crash-child"
collector="$build/tools/collector/obx-collector"
for program in "$child" "$collector"; do
  [[ -x "$program" ]] || { echo "missing $program: build obx-crash-child and obx-collector first" >&2; exit 2; }
done

work="$(mktemp -d "${TMPDIR:-/tmp}/obx-crash-soak-XXXXXX")"
trap 'rm -rf "$work"' EXIT

python3 - "$runs" "$child" "$collector" "$work" <<'PY'
import json, os, pathlib, re, signal, subprocess, sys, time

runs, child, collector, work = int(sys.argv[1]), sys.argv[2], sys.argv[3], pathlib.Path(sys.argv[4])
# kind: (signal it ends by, crash events it leaves)
kinds = {
    "exception": (signal.SIGABRT, 2), "segv": (signal.SIGSEGV, 1), "abort": (signal.SIGABRT, 1),
    "bus": (signal.SIGBUS, 1), "fpe": (signal.SIGFPE, 1), "ill": (signal.SIGILL, 1),
    "trap": (signal.SIGTRAP, 1), "sys": (signal.SIGSYS, 1), "overflow": (signal.SIGSEGV, 1),
    "thread": (signal.SIGSEGV, 1), "two-threads": (signal.SIGSEGV, 1), "lock-other": (signal.SIGSEGV, 1),
    "lock-self": (signal.SIGSEGV, 1),
}
names = list(kinds)
share = {kind: runs // len(names) + (1 if index < runs % len(names) else 0) for index, kind in enumerate(names)}

def crash_events(folder):
    total = 0
    for events in pathlib.Path(folder).rglob("events.json"):
        try:
            total += sum(1 for event in json.loads(events.read_text()) if event.get("t") == "crash")
        except ValueError:
            pass
    return total

print(f"{'kind':<12} {'runs':>5} {'due':>5} {'arrived':>8} {'wrong end':>10} {'slowest ms':>11} {'bad start':>10}")
failed = False
totals = [0, 0]
for kind in names:
    if share[kind] == 0:
        continue
    expected_signal, per_run = kinds[kind]
    data = work / f"collector-{kind}"
    out = open(work / f"collector-{kind}.out", "w+")
    server = subprocess.Popen([collector, "--account", "acc", "--port", "0", "--data", str(data)],
                              stdout=out, stderr=subprocess.DEVNULL)
    url = None
    for _ in range(50):
        out.seek(0)
        found = re.search(r"^listening on (\S+)", out.read(), re.M)
        if found:
            url = found.group(1)
            break
        time.sleep(0.1)
    if not url:
        sys.exit("obx-collector did not start")
    wrong_end = bad_start = 0
    slowest = 0.0
    for run in range(share[kind]):
        sandbox = work / f"{kind}-{run}"
        sandbox.mkdir()
        with open(sandbox / "crash.log", "w") as log:
            process = subprocess.Popen([child, kind, str(sandbox), url], stdout=log, stderr=log)
            status = process.wait()
        ended = time.monotonic_ns()
        if status != -expected_signal:
            wrong_end += 1
            print(f"  {kind} run {run}: ended with {status}", file=sys.stderr)
        try:
            slowest = max(slowest, (ended - int((sandbox / "crashing").read_text())) / 1e6)
        except (OSError, ValueError):
            pass
        with open(sandbox / "upload.log", "w") as log:
            status = subprocess.call([child, "upload", str(sandbox), url], stdout=log, stderr=log)
        if status != 0:
            bad_start += 1
            print(f"  {kind} run {run}: the next start ended with {status}", file=sys.stderr)
        subprocess.call(["rm", "-rf", str(sandbox)])
    server.terminate()
    server.wait()
    due, arrived = share[kind] * per_run, crash_events(data)
    totals[0] += due
    totals[1] += arrived
    print(f"{kind:<12} {share[kind]:>5} {due:>5} {arrived:>8} {wrong_end:>10} {slowest:>11.1f} {bad_start:>10}")
    failed |= arrived != due or wrong_end > 0 or bad_start > 0
print(f"{runs} crashes: {totals[1]} of {totals[0]} crash events arrived")
sys.exit(1 if failed else 0)
PY
