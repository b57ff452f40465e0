#!/usr/bin/env bash
# Installs a build of the SDK into a temporary prefix and builds host applications against it: C++
# through find_package(obx), C through pkg-config against the static libraries and against libobx.so,
# and C through the package's obx::shared. Every program must run, the shared ones must load the
# installed libobx.so by its SONAME, and the Python ctypes host must run its journey on it.
# Usage: scripts/check-install.sh [build dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
lib="$(ls -d "$work"/prefix/lib*/ | head -n1)"
lib="${lib%/}"
export PKG_CONFIG_PATH="$lib/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
cmake -S examples/consumer -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"$work/consumer/consumer_cpp"
"$work/consumer/consumer_c"
if [ ! -e "$lib/libobx.so" ]; then
  echo "install check: the C++ and C programs built against the installed static SDK ran (no libobx.so built)"
  exit 0
fi
soname="$(readelf -d "$lib/libobx.so" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')"
[ -n "$soname" ] && [ -e "$lib/$soname" ] || { echo "install check: no versioned libobx.so installed"; exit 1; }
for program in consumer_c_shared consumer_c_package_shared; do
  readelf -d "$work/consumer/$program" | grep -q "Shared library: \[$soname\]" \
    || { echo "install check: $program does not load $soname"; exit 1; }
  "$work/consumer/$program"
done
python3 tests/core/c_api_host_test.py "$lib/libobx.so" "$work/prefix/bin/obx-collector" sdk-thread
echo "install check: the C++ and C programs built against the installed SDK ran, static and shared," \
  "and the ctypes host's journey on the installed libobx.so arrived"
