#!/usr/bin/env bash
# Builds a fuzz target with clang (libFuzzer, AddressSanitizer with leak detection,
# UndefinedBehaviorSanitizer) and runs it for a given time: the XML reader (fuzz_sax, the
# default), the tree (FUZZ_TARGET=fuzz_dom), path selection (FUZZ_TARGET=fuzz_select), the
# JSON reader and tree (FUZZ_TARGET=fuzz_json), JSON path selection (FUZZ_TARGET=fuzz_jsonpath)
# the form-URL-encoded reader (FUZZ_TARGET=fuzz_form), the object readers
# (FUZZ_TARGET=fuzz_deserialize) or the lexical conversions of values (FUZZ_TARGET=fuzz_values).
#
#   [FUZZ_TARGET=fuzz_dom] fuzz/run.sh [seconds] [more libFuzzer options ...]   (default: 600 s)
#
# The checked-in XML inputs of fuzz/corpus (style sheets among them) are the seeds of fuzz_sax
# and fuzz_dom, the paths of fuzz/corpus/select those of fuzz_select, the texts of
# fuzz/corpus/json those of fuzz_json, the paths of fuzz/corpus/jsonpath those of
# fuzz_jsonpath, the bodies of fuzz/corpus/form those of fuzz_form, the documents of
# fuzz/corpus/deserialize those of fuzz_deserialize, the texts of fuzz/corpus/values those of
# fuzz_values;
# what the fuzzer finds new goes to $BUILD_DIR/corpus-<target>, and a crashing, leaking or
# hanging input to $BUILD_DIR/artifacts.
# Copy such an input into the seeds once it is fixed, so that sax_tests (dom_tests for
# fuzz_dom, select_tests for fuzz_select, json_tests for fuzz_json, jsonpath_tests for
# fuzz_jsonpath, jsonform_tests for fuzz_form, serialize_tests for fuzz_deserialize,
# xmlutils_tests for fuzz_values) keeps running it.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
shift || true
build=${BUILD_DIR:-build/fuzz}
target=${FUZZ_TARGET:-fuzz_sax}

scripts/install-deps.sh clang libclang-rt-14-dev
CC=clang CXX=clang++ cmake -S fuzz -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target "$target" -j2

mkdir -p "$build/corpus-$target" "$build/artifacts"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
seeds=fuzz/corpus
if [ "$target" = fuzz_select ]; then
  seeds=fuzz/corpus/select
elif [ "$target" = fuzz_json ]; then
  seeds=fuzz/corpus/json
elif [ "$target" = fuzz_jsonpath ]; then
  seeds=fuzz/corpus/jsonpath
elif [ "$target" = fuzz_deserialize ]; then
  seeds=fuzz/corpus/deserialize
elif [ "$target" = fuzz_form ]; then
  seeds=fuzz/corpus/form
elif [ "$target" = fuzz_values ]; then
  seeds=fuzz/corpus/values
fi
exec "$build/$target" "$build/corpus-$target" "$seeds" \
  -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
  -artifact_prefix="$build/artifacts/" -print_final_stats=1 "$@"
