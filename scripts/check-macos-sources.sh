#!/usr/bin/env bash
# Checks the macOS sources on a machine without Apple's SDK:
#  - every .mm file under platform/macos is syntax-checked by clang for a macOS
#    target against the declarations in platform/macos/sdk-check, with unknown
#    selectors, wrong block signatures and wrong argument types as errors;
#  - every property list and entitlements file of the bundle is parsed.
# With --self-test it also shows that the check fails on a wrong selector and on
# a wrong block signature.
set -euo pipefail
cd "$(dirname "$0")/.."

clangxx=${CLANGXX:-clang++}
qt_include=${QT_INCLUDE_DIR:-$(qmake6 -query QT_INSTALL_HEADERS 2>/dev/null || echo /usr/include/x86_64-linux-gnu/qt6)}
gcc_version=${GCC_VERSION:-12}
resource_dir=$("$clangxx" -print-resource-dir)

# The x86_64 Apple target keeps glibc's 64-bit headers consistent. On Apple
# targets clang makes __nonnull a keyword, which clashes with glibc's macro;
# a non-Linux target does not define _GNU_SOURCE, which libstdc++'s thread
# header needs.
flags=(
    -fsyntax-only -x objective-c++ -std=c++20 -fobjc-arc -fblocks
    -target x86_64-apple-macos13
    -nostdinc -nostdinc++ -Wno-stdlibcxx-not-found
    -D_GNU_SOURCE -U__nonnull '-D__nonnull(p)='
    -isystem platform/macos/sdk-check
    -isystem "$resource_dir/include"
    -isystem "/usr/include/c++/$gcc_version"
    -isystem "/usr/include/x86_64-linux-gnu/c++/$gcc_version"
    -isystem /usr/include -isystem /usr/include/x86_64-linux-gnu
    -I. -I"$qt_include" -I"$qt_include/QtCore" -I"$qt_include/QtGui"
    -Wall -Wextra -Werror
    -Werror=objc-method-access -Werror=incompatible-pointer-types
    -Werror=protocol -Werror=incomplete-implementation -Werror=objc-property-implementation
    -Werror=format -Werror=nullability -Werror=arc-retain-cycles
)

check() {
    "$clangxx" "${flags[@]}" "$@"
}

status=0
lines=0
mapfile -t sources < <(find platform/macos -path platform/macos/sdk-check -prune -o -name '*.mm' -print | sort)
for source in "${sources[@]}"; do
    if check "$source"; then
        lines=$((lines + $(wc -l <"$source")))
    else
        echo "FAILED: $source" >&2
        status=1
    fi
done
echo "syntax-checked ${#sources[@]} .mm files, $lines lines"

mapfile -t plists < <(find platform/macos/bundle -name '*.plist' -o -name '*.plist.in' -o -name '*.entitlements' | sort)
for plist in "${plists[@]}"; do
    python3 -c 'import plistlib, sys; plistlib.load(open(sys.argv[1], "rb"))' "$plist" ||
        { echo "FAILED: $plist is not a property list" >&2; status=1; }
done
echo "parsed ${#plists[@]} property lists"

if [ "${1:-}" = "--self-test" ]; then
    # Each sample is correct but for one mistake; the check must reject each.
    for sample in platform/macos/sdk-check/must-fail/*.mm; do
        if check "$sample" 2>/dev/null; then
            echo "FAILED: the check accepted $sample" >&2
            status=1
        else
            echo "rejected as it should: $sample"
        fi
    done
    # ...and accept the same samples without the mistake.
    if ! check -DZOR_WITHOUT_MISTAKE platform/macos/sdk-check/must-fail/*.mm; then
        echo "FAILED: the corrected samples do not pass" >&2
        status=1
    fi
fi
exit $status
