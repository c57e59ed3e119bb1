#!/usr/bin/env bash
# Builds the app and starts it. On systems other than macOS, a development agent
# serving the sample prompts runs beside it.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

build_dir=${BUILD_DIR:-build/run}
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --parallel

if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ "$(uname)" != Darwin ]; then
    export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
fi

if [ "$(uname)" != Darwin ]; then
    # Keep the agent's standard input open so that it does not read end-of-file.
    tail -f /dev/null | "$build_dir/tools/zor-dev-agent/zor-dev-agent" \
        --prompts tools/zor-dev-agent/sample-prompts.json &
    agent=$!
    trap 'kill $agent 2>/dev/null || true' EXIT
    sleep 1
fi

"$build_dir/app/zor" "$@"
