#!/usr/bin/env bash
# Installs a build of the SDK into a temporary prefix and builds a host application against it, in
# C++ through find_package(obx) and in C through pkg-config; both programs must run.
# Usage: scripts/check-install.sh [build dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
cmake -S examples/consumer -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"$work/consumer/consumer_cpp"
"$work/consumer/consumer_c"
echo "install check: both programs built against the installed SDK and ran"
