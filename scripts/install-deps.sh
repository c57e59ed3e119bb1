#!/usr/bin/env bash
# Installs the build and test dependencies on Debian or Ubuntu; on other systems
# it only checks that the tools are there.
set -euo pipefail

packages=(
    build-essential cmake ninja-build clang-format
    clang libclang-rt-dev python3 python3-yaml shellcheck
    libc6-dev-arm64-cross libstdc++-12-dev-arm64-cross
    qt6-base-dev qt6-declarative-dev qcoro-qt6-dev libgl-dev libsimdjson-dev
    qml6-module-qtqml qml6-module-qtqml-workerscript qml6-module-qtquick
    qml6-module-qtquick-controls qml6-module-qtquick-layouts
    qml6-module-qtquick-templates qml6-module-qtquick-window
    fonts-dejavu-core
    xvfb xauth xdotool at-spi2-core libglib2.0-bin
    dbus-daemon openbox x11-utils
)

if ! command -v apt-get >/dev/null 2>&1; then
    command -v cmake >/dev/null || { echo "cmake is required" >&2; exit 1; }
    exit 0
fi

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
        echo "Missing: ${missing[*]}" >&2
        echo "Run $0 as root to install them: there is no sudo here." >&2
        exit 1
    fi
    sudo="sudo"
fi
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
