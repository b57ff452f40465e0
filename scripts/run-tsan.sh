#!/usr/bin/env bash
# The threaded suites under ThreadSanitizer, in build-tsan (or the folder given).
# Usage: scripts/run-tsan.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir="${1:-build-tsan}"
scripts/setup.sh --packages-only
# The areas whose tests run real threads: dispatch (in platform), store, lifecycle, RUM, upload, the
# end-to-end journeys, the facade and the bridge. Only their test programs are built. A race found here is
# fixed, not suppressed; tests/sanitizers/tsan.supp says why for anything it holds.
tsan_areas=(platform store lifecycle rum upload e2e core bridge)
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/tests/sanitizers/tsan.supp"
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOBX_SANITIZE_THREAD=ON \
  -DOBX_BUILD_BENCH=OFF -DOBX_BUILD_SHARED=OFF
cmake --build "$build_dir" -j"$(nproc)" --target $(printf 'obx_%s_tests ' "${tsan_areas[@]}")
ctest --test-dir "$build_dir" --output-on-failure -j"$(nproc)" --timeout 600 \
  -L "^($(IFS='|'; echo "${tsan_areas[*]}"))\$"

