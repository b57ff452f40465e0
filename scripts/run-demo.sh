#!/usr/bin/env bash
# Sets up (packages and build) and runs obx-demo, the host application with its scripted journey, or
# with --qt the Qt Widgets shop recorded through obx_qt.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh build
# --qt: the Qt Widgets shop of examples/qt instead, offscreen; it prints the replay page's path.
if [[ "${1:-}" == "--qt" ]]; then
  shift
  QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" exec build/examples/qt/obx-qt-shop "$@"
fi
exec build/examples/demo/obx-demo "$@"
