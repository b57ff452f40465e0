#!/usr/bin/env bash
# Sets up (packages and build) and runs obx-demo, the host application with its scripted journey.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh build
exec build/examples/demo/obx-demo "$@"
