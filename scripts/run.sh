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
    # The agent stops at the end of its input: this script holds the input open
    # and so ends the agent whenever it ends, however it ends.
    fifo_dir=$(mktemp -d)
    mkfifo "$fifo_dir/agent-input"
    "$build_dir/tools/zor-dev-agent/zor-dev-agent" \
        --prompts tools/zor-dev-agent/sample-prompts.json <"$fifo_dir/agent-input" &
    exec 3>"$fifo_dir/agent-input"
    rm -r "$fifo_dir"
    sleep 1
fi

"$build_dir/app/zor" "$@" 3>&-
