#!/usr/bin/env bash
# Crash-restart soak: runs obx-demo's journey RUNS times (default 100), each killed with SIGKILL at a
# random moment, against one obx-collector that stays up, every run resuming the sandbox the one
# before left (--keep); then one clean run. Prints how many screens were written, how many arrived,
# how many arrived twice, which never arrived, and whether a run hung or crashed.
#
# A screen counts as written when it arrived, or when one of its batches was closed (held its
# batch end) at a kill: the next run owes it to the server. A screen whose only batch was cut by the
# kill may go (it can lack the events that make it sendable); those are counted apart.
# Goal: every written screen arrives exactly once; no hang. The work folder is kept when the goal is
# missed, and removed otherwise.
# Usage: scripts/soak.sh [runs] [build-dir] [max-seconds-before-kill]
set -euo pipefail
cd "$(dirname "$0")/.."

runs="${1:-100}"
build_dir="${2:-build}"
max_delay="${3:-12}"
demo="$build_dir/examples/demo/obx-demo"
collector="$build_dir/tools/collector/obx-collector"
inspect="$build_dir/tools/inspect/obx-inspect"
[ -x "$demo" ] && [ -x "$collector" ] || { echo "soak: build obx-demo and obx-collector in $build_dir first" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/obx-soak-XXXXXX")
sandbox="$work/sandbox"
snapshots="$work/snapshots"
mkdir -p "$snapshots"
"$collector" --account demo-account --port 0 --data "$work/collector" >"$work/collector.log" 2>&1 &
collector_pid=$!
trap 'kill $collector_pid 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  url=$(head -1 "$work/collector.log" | grep -o 'http://[0-9.:]*' || true)
  [ -n "$url" ] && break
  sleep 0.1
done
[ -n "$url" ] || { echo "soak: the collector did not start" >&2; cat "$work/collector.log" >&2; exit 2; }

crashes=0
hangs=0
finished=0
for run in $(seq "$runs"); do
  "$demo" --sandbox "$sandbox" --keep --collector "$url" >"$work/run-$run.log" 2>&1 &
  pid=$!
  delay=$(python3 -c "import random; print(round(random.uniform(0.2, $max_delay), 2))")
  sleep "$delay"
  if kill -0 "$pid" 2>/dev/null; then
    kill -9 "$pid"
    wait "$pid" 2>/dev/null || true
  else
    set +e; wait "$pid"; rc=$?; set -e
    if [ $rc -gt 128 ]; then crashes=$((crashes + 1)); echo "run $run ended by signal $((rc - 128))"; else finished=$((finished + 1)); fi
  fi
  # What the killed run left: the batch folders and whether each was closed (holds its "bE").
  spool="$sandbox/Library/Application Support/obx.ombrix"
  find "$spool" -mindepth 1 -maxdepth 1 -type d -name '*_*' 2>/dev/null | while read -r folder; do
    name=$(basename "$folder")
    closed=0
    "$inspect" "$sandbox" "$name" 2>/dev/null | grep -q '"t":"bE"' && closed=1
    echo "$name $closed"
  done >"$snapshots/$run.txt"
done

set +e
timeout 300 "$demo" --sandbox "$sandbox" --keep --collector "$url" >"$work/clean.log" 2>&1
clean=$?
set -e
[ $clean -eq 124 ] && hangs=$((hangs + 1))
[ $clean -gt 128 ] && [ $clean -ne 124 ] && crashes=$((crashes + 1))
sleep 1

python3 - "$work" "$runs" "$crashes" "$hangs" "$finished" "$clean" <<'PY'
import json, os, sys, collections
work, runs, crashes, hangs, finished, clean = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5]), int(sys.argv[6])
owed, cut = set(), set()
for name in os.listdir(os.path.join(work, 'snapshots')):
    screens = collections.defaultdict(list)
    for line in open(os.path.join(work, 'snapshots', name)):
        batch, closed = line.split()
        screens[batch.split('_')[0]].append((batch, closed == '1'))
    for batches in screens.values():
        asset = sorted(batches)[-1][0] + '.zip'
        (owed if any(closed for _, closed in batches) else cut).add(asset)
arrived = collections.Counter()
for root, _, files in os.walk(os.path.join(work, 'collector')):
    if 'upload.json' in files:
        arrived[json.load(open(os.path.join(root, 'upload.json')))['asset']] += 1
log = open(os.path.join(work, 'collector.log')).read()
resent = log.count('· duplicate of ')
written = owed | set(arrived)
lost = sorted(owed - set(arrived))
cutArrived = len(cut & set(arrived))
print(f"soak: {runs} killed runs ({finished} ended before their kill), then one clean run (exit {clean})")
print(f"screens written:  {len(written)}")
print(f"screens arrived:  {len(arrived)}")
print(f"arrived twice:    {sum(1 for n in arrived.values() if n > 1)} stored twice; {resent} re-sent uploads answered as duplicates")
print(f"never arrived:    {len(lost)} {' '.join(lost[:10])}")
print(f"cut by a kill before their first batch closed: {len(cut - owed)} ({cutArrived} of them arrived all the same)")
print(f"hangs: {hangs}   crashes: {crashes}")
passed = not lost and hangs == 0 and crashes == 0 and all(n == 1 for n in arrived.values())
if not passed:
    print(f"work folder, kept: {work}")
sys.exit(0 if passed else 1)
PY
rm -rf "$work"
