#!/usr/bin/env bash
# Builds everything with warnings as errors and runs every test.
#   BUILD_DIR     build directory (default: build/test)
#   ZOR_SANITIZE  ON to build with AddressSanitizer and UndefinedBehaviorSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

build_dir=${BUILD_DIR:-build/test}
cmake -S . -B "$build_dir" -G Ninja \
    -DCMAKE_BUILD_TYPE=Debug \
    -DZOR_WARNINGS_AS_ERRORS=ON \
    -DZOR_SANITIZE="${ZOR_SANITIZE:-OFF}"
cmake --build "$build_dir" --parallel
QT_QPA_PLATFORM=offscreen ctest --test-dir "$build_dir" --output-on-failure --timeout 300
