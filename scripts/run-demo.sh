#!/usr/bin/env bash
# Sets up (packages and build) and runs obx-demo, the host application with its scripted journey.
# It builds only what the demo needs: the SDK's libraries, obx-demo and the obx-collector it starts.
# scripts/run-tests.sh builds the rest in the same folder.
set -euo pipefail
cd "$(dirname "$0")/.."
targets=(obx-demo obx-collector)
program=build/examples/demo/obx-demo
OBX_BUILD_TARGETS="${targets[*]}" scripts/setup.sh build
exec "$program" "$@"
