#!/usr/bin/env bash
# Installs what is missing (the peer libraries too), builds the Release preset and runs the
# benchmarks.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh libexpat1-dev libxml2-dev libpugixml-dev rapidjson-dev nlohmann-json3-dev \
  libsimdjson-dev libcereal-dev
cmake --preset release
cmake --build --preset release
for b in build/release/bench/bench_*; do
  [ -x "$b" ] && "$b" "$@"
done
