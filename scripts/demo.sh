#!/usr/bin/env bash
# Installs what is missing, builds the Release preset and runs the demonstration.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release
cmake --build --preset release --target vnxml_demo
./build/release/examples/vnxml_demo examples/data
