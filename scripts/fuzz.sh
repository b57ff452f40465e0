#!/usr/bin/env bash
# Runs each libFuzzer target for SECONDS seconds (default 60) under ASan and UBSan, starting from
# the seed corpus in fuzz/corpus/<target> and the inputs of fuzz/regressions/<target>, and prints
# per target the executions and whether it found anything. New inputs the fuzzer finds go to a
# scratch corpus under the build folder; a crash leaves its input there as crash-* (copy it into
# fuzz/regressions/<target>/ with the fix).
# Usage: scripts/fuzz.sh [seconds] [build-dir] [target...]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-60}"
build_dir="${2:-build-fuzz}"
shift 2 2>/dev/null || shift $# 
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(block_reader live_configuration cache_reader upload_decoder zip_reader)

OBX_FUZZ=1 scripts/setup.sh --packages-only
if [ ! -f "$build_dir/CMakeCache.txt" ]; then
  cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
    -DCMAKE_CXX_COMPILER=clang++ -DOBX_FUZZ=ON -DOBX_BUILD_TESTS=OFF -DOBX_BUILD_BENCH=OFF \
    -DOBX_BUILD_SHARED=OFF ${CMAKE_CXX_COMPILER_LAUNCHER:+-DCMAKE_CXX_COMPILER_LAUNCHER=$CMAKE_CXX_COMPILER_LAUNCHER}
fi
cmake --build "$build_dir" -j"$(nproc)" --target $(printf 'obx_%s_fuzz ' "${targets[@]}")

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:allocator_may_return_null=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$PWD/tests/sanitizers/lsan.supp"
status=0
printf '%-20s %12s %10s %s\n' target executions exec/s result
for target in "${targets[@]}"; do
  work="$build_dir/fuzz-work/$target"
  mkdir -p "$work/corpus"
  log="$work/log.txt"
  # A target with no regression inputs yet has no folder for them.
  seeds=("$PWD/fuzz/corpus/$target")
  [ -d "fuzz/regressions/$target" ] && seeds+=("$PWD/fuzz/regressions/$target")
  set +e
  (cd "$work" && "$OLDPWD/$build_dir/fuzz/obx_${target}_fuzz" -max_total_time="$seconds" -rss_limit_mb=2048 \
     -timeout=10 -print_final_stats=1 corpus "${seeds[@]}") \
     >"$log" 2>&1
  rc=$?
  set -e
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
  speed=$(grep -o 'stat::average_exec_per_sec: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
  if [ $rc -eq 0 ]; then
    result="no finding"
  else
    result="FINDING (exit $rc): $( (ls "$work"/crash-* "$work"/leak-* "$work"/timeout-* "$work"/oom-* 2>/dev/null || true) | head -1); see $log"
    status=1
  fi
  printf '%-20s %12s %10s %s\n' "$target" "$runs" "$speed" "$result"
done
exit $status
