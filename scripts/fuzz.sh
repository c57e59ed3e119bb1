#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time.
#   scripts/fuzz.sh [SECONDS] [TARGET...]   (default: 20 seconds, every target)
#   BUILD_DIR  build directory (default: build/fuzz-clang)
# Each target keeps what it learns in BUILD_DIR/corpus/TARGET, so longer runs
# build on earlier ones; an input that breaks a target is saved in
# BUILD_DIR/findings/ and the script fails.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

seconds=${1:-20}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] ||
    targets=(fuzz-prompt-record fuzz-prompt-list fuzz-frame-decoder fuzz-prompt-url)

build_dir=${BUILD_DIR:-build/fuzz-clang}
cmake -S . -B "$build_dir" -G Ninja \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER=clang++ \
    -DZOR_WARNINGS_AS_ERRORS=ON \
    -DZOR_BUILD_TESTS=OFF \
    -DZOR_FUZZ=ON
cmake --build "$build_dir" --parallel --target "${targets[@]}"

rm -rf "$build_dir/seeds"
fuzz/make-seeds.py "$build_dir/seeds"
mkdir -p "$build_dir/findings"
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for target in "${targets[@]}"; do
    echo "== $target, ${seconds}s"
    mkdir -p "$build_dir/corpus/$target"
    dictionary=()
    case $target in
    fuzz-prompt-record | fuzz-prompt-list) dictionary=(-dict=fuzz/prompt-record.dict) ;;
    esac
    "$build_dir/fuzz/$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
        "${dictionary[@]}" -artifact_prefix="$build_dir/findings/$target-" \
        "$build_dir/corpus/$target" "$build_dir/seeds/$target" 2>&1 |
        sed -E '/^#[0-9]+\s+(NEW|REDUCE|pulse)|^\s+NEW_FUNC|# Uses: /d'
done
