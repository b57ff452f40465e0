#!/usr/bin/env bash
# Kills a recording host N times per kind of death (uncaught exception, SIGSEGV, SIGABRT, SIGBUS), lets
# the next run of each upload what the dying one wrote to a local obx-collector, and prints how many
# crash events arrived against how many were due (an uncaught exception leaves two: its own and the
# SIGABRT that follows).
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
collector_pid=""
cleanup() {
  [[ -n "$collector_pid" ]] && kill "$collector_pid" 2>/dev/null && wait "$collector_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

# Counts the crash events in every screen stored under a collector's data folder.
count_crashes() {
  python3 - "$1" <<'PY'
import json, pathlib, sys
total = 0
for events in pathlib.Path(sys.argv[1]).rglob("events.json"):
    try:
        total += sum(1 for event in json.loads(events.read_text()) if event.get("t") == "crash")
    except ValueError:
        pass
print(total)
PY
}

printf '%-10s %6s %9s %9s %9s\n' kind runs due arrived failed
status=0
for kind in exception segv abort bus; do
  data="$work/collector-$kind"
  : > "$work/collector-$kind.out"
  "$collector" --account acc --port 0 --data "$data" > "$work/collector-$kind.out" 2>/dev/null &
  collector_pid=$!
  url=""
  for _ in $(seq 50); do
    url="$(sed -n 's/^listening on //p' "$work/collector-$kind.out" | head -1)"
    [[ -n "$url" ]] && break
    sleep 0.1
  done
  [[ -n "$url" ]] || { echo "obx-collector did not start" >&2; exit 1; }

  per_run=1
  [[ "$kind" == exception ]] && per_run=2
  failed=0
  for run in $(seq "$runs"); do
    sandbox="$work/$kind-$run"
    mkdir -p "$sandbox"
    # In a subshell of its own, so that the shell's note of the child's death stays out of the table.
    ( "$child" "$kind" "$sandbox" "$url" > "$sandbox/crash.log" 2>&1 || true ) 2>/dev/null
    "$child" upload "$sandbox" "$url" > "$sandbox/upload.log" 2>&1 || failed=$((failed + 1))
    rm -rf "$sandbox"
  done
  arrived="$(count_crashes "$data")"
  due=$((runs * per_run))
  printf '%-10s %6d %9d %9d %9d\n' "$kind" "$runs" "$due" "$arrived" "$failed"
  [[ "$arrived" -eq "$due" ]] || status=1

  kill "$collector_pid" 2>/dev/null && wait "$collector_pid" 2>/dev/null || true
  collector_pid=""
done
exit "$status"
