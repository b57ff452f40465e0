#!/usr/bin/env bash
# Sets up (packages and build) and runs obx-demo, the host application with its scripted journey, or
# with --qt the Qt Widgets shop recorded through obx_qt, offscreen; it prints the replay page's path.
# It builds only what the demo needs: the SDK's libraries, the demo and the obx-collector it starts.
# scripts/run-tests.sh builds the rest in the same folder.
set -euo pipefail
cd "$(dirname "$0")/.."
targets=(obx-demo obx-collector)
program=build/examples/demo/obx-demo
if [[ "${1:-}" == "--qt" ]]; then
  shift
  targets=(obx-qt-shop obx-collector)
  program=build/examples/qt/obx-qt-shop
  export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"
fi
OBX_BUILD_TARGETS="${targets[*]}" scripts/setup.sh build
exec "$program" "$@"
