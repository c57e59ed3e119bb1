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
gcc_version=${GCC_VERSION:-$(ls -v /usr/include/c++ | tail -n 1)}
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
    -I. -I"$qt_include" -I"$qt_include/QtCore" -I"$qt_include/QtGui" -I"$qt_include/QtNetwork"
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
# Platform.cpp too: its macOS branch is compiled nowhere else here.
mapfile -t sources < <(find platform/macos -path platform/macos/sdk-check -prune -o -name '*.mm' -print | sort)
sources+=(platform/Platform.cpp)
for source in "${sources[@]}"; do
    if check "$source"; then
        lines=$((lines + $(wc -l <"$source")))
    else
        echo "FAILED: $source" >&2
        status=1
    fi
done
echo "syntax-checked ${#sources[@]} files (every .mm file and Platform.cpp), $lines lines"

mapfile -t plists < <(find platform/macos/bundle -name '*.plist' -o -name '*.plist.in' -o -name '*.entitlements' | sort)
for plist in "${plists[@]}"; do
    python3 -c 'import plistlib, sys; plistlib.load(open(sys.argv[1], "rb"))' "$plist" ||
        { echo "FAILED: $plist is not a property list" >&2; status=1; }
done
echo "parsed ${#plists[@]} property lists"

# What the system and the code rely on in them.
python3 - <<'PY' || status=1
import plistlib, sys

def load(name):
    with open("platform/macos/bundle/" + name, "rb") as f:
        return plistlib.load(f)

problems = []
def expect(condition, what):
    if not condition:
        problems.append(what)

info = load("Info.plist.in")
expect(info.get("LSMinimumSystemVersion") == "13.0", "Info.plist: LSMinimumSystemVersion 13.0")
schemes = [s for t in info.get("CFBundleURLTypes", []) for s in t.get("CFBundleURLSchemes", [])]
expect("zor" in schemes, "Info.plist: the zor URL scheme")
for name, service in [("com.zorlabs.zor-daemon.plist", "com.zorlabs.zor-daemon.xpc"),
                      ("com.zorlabs.zor.agent.plist", "com.zorlabs.zor.agent.app")]:
    job = load(name)
    expect(name == job.get("Label", "") + ".plist", name + ": Label matches the file name")
    expect(job.get("BundleProgram", "").startswith("Contents/"), name + ": BundleProgram")
    expect(service in job.get("MachServices", {}), name + ": Mach service " + service)
    expect("com.zorlabs.zor" in job.get("AssociatedBundleIdentifiers", []),
           name + ": associated with the app")
entitlements = load("Zor.entitlements")
expect(entitlements.get("com.apple.developer.system-extension.install") is True,
       "entitlements: system-extension install")
expect(any(v.startswith("content-filter-provider")
           for v in entitlements.get("com.apple.developer.networking.networkextension", [])),
       "entitlements: content filter")
for problem in problems:
    print("FAILED: " + problem, file=sys.stderr)
sys.exit(1 if problems else 0)
PY

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
