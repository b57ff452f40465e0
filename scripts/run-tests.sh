#!/usr/bin/env bash
# Sets up (packages and build) and runs the whole test suite.
# Usage: scripts/run-tests.sh [build-dir] [extra cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir="${1:-build}"
shift || true
scripts/setup.sh "$build_dir" "$@"
ctest --test-dir "$build_dir" --output-on-failure -j"$(nproc)" --timeout 300
