#!/usr/bin/env bash
# Installs what is missing, builds the Debug preset with AddressSanitizer and
# UndefinedBehaviorSanitizer and runs every test under them, then builds the library and the
# thread tests with ThreadSanitizer and runs those.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset debug-asan
cmake --build --preset debug-asan
ctest --preset debug-asan

cmake --preset tsan
cmake --build --preset tsan

# GCC 12's ThreadSanitizer stops with "unexpected memory mapping" when the kernel spreads
# mappings over more random bits than it expects (vm.mmap_rnd_bits above 28). A start of the test
# program tells: if it fails, the tests run without address randomization (setarch -R), or, where
# the kernel refuses that, with the random bits lowered to 28 until the tests are done.
tsan_starts() {
  "$@" build/tsan/tests/threads_tests --gtest_list_tests >/dev/null 2>&1
}
runner=()
if ! tsan_starts; then
  echo "ThreadSanitizer does not start (kernel $(uname -r)); trying without address randomization"
  if tsan_starts setarch "$(uname -m)" -R; then
    runner=(setarch "$(uname -m)" -R)
  else
    sudo=""
    if [ "$(id -u)" -ne 0 ]; then
      sudo="sudo"
    fi
    bits="$(cat /proc/sys/vm/mmap_rnd_bits)"
    if [ "$bits" -gt 28 ]; then
      echo "Lowering vm.mmap_rnd_bits from $bits to 28 while the thread tests run"
      $sudo sysctl -q -w vm.mmap_rnd_bits=28
      trap "$sudo sysctl -q -w vm.mmap_rnd_bits=$bits" EXIT
    fi
  fi
fi
"${runner[@]}" ctest --preset tsan
