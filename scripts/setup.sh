#!/usr/bin/env bash
# Installs the Debian packages the project needs (only those missing) and builds it.
# Usage: scripts/setup.sh [build-dir] [extra cmake args...]
#        scripts/setup.sh --packages-only    installs, builds nothing
# With OBX_BUILD_TARGETS in the environment (names separated by spaces) it builds only those
# targets and what they need; otherwise everything.
# With OBX_FUZZ=1 in the environment it also installs clang and its libFuzzer runtime
# (libclang-rt-14-dev), which the fuzz targets (-DOBX_FUZZ=ON, scripts/fuzz.sh) need.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  build-essential cmake ninja-build pkg-config python3
  libssl-dev libcurl4-openssl-dev nlohmann-json3-dev libzip-dev libturbojpeg0-dev
  libcairo2-dev libpango1.0-dev fonts-dejavu-core libcpp-httplib-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  chromium qt6-base-dev
)
[ "${OBX_FUZZ:-0}" = 1 ] && packages+=(clang-14 libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

[ "${1:-}" = "--packages-only" ] && exit 0

build_dir="${1:-build}"
shift || true
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
targets=()
[ -n "${OBX_BUILD_TARGETS:-}" ] && read -r -a targets <<<"$OBX_BUILD_TARGETS"
cmake --build "$build_dir" -j"$(nproc)" ${targets[@]:+--target "${targets[@]}"}
