#!/usr/bin/env bash
# Installs what is missing, builds the Debug preset with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs every test under them.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset debug-asan
cmake --build --preset debug-asan
ctest --preset debug-asan
