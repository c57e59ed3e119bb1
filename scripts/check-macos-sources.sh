#!/usr/bin/env bash
# Checks the macOS sources on a machine without Apple's SDK:
#  - every .mm file under platform/macos is syntax-checked by clang for macOS 13
#    on Apple silicon (arm64) and on Intel (x86_64) against the declarations in
#    platform/macos/sdk-check, with unknown selectors, wrong block signatures,
#    wrong argument types and calls above the deployment target outside
#    @available as errors;
#  - every property list and entitlements file of the bundle is parsed, and the
#    keys the system and the code rely on are checked.
# With --self-test it also shows the check rejecting samples that each carry one
# such mistake, on both architectures, and BOOL mistakes only arm64 can see.
set -euo pipefail
cd "$(dirname "$0")/.."

clangxx=${CLANGXX:-clang++}
qt_include=${QT_INCLUDE_DIR:-$(qmake6 -query QT_INSTALL_HEADERS 2>/dev/null || echo /usr/include/x86_64-linux-gnu/qt6)}
resource_dir=$("$clangxx" -print-resource-dir)
architectures=(arm64 x86_64)
deployment_target=13.0

# glibc and libstdc++ for the same processor stand in for Darwin's C and C++
# headers: the machine's own for x86_64, Debian's aarch64 cross headers for
# arm64 (libc6-dev-arm64-cross, libstdc++-12-dev-arm64-cross).
library_includes() {
    local root triple version
    case $1 in
    x86_64) root=/usr/include triple=x86_64-linux-gnu ;;
    arm64) root=/usr/aarch64-linux-gnu/include triple=aarch64-linux-gnu ;;
    esac
    if [ ! -d "$root/c++" ]; then
        echo "FAILED: no C++ headers for $1 in $root (scripts/install-deps.sh installs them)" >&2
        return 1
    fi
    version=$(find "$root/c++" -mindepth 1 -maxdepth 1 -name '[0-9]*' -printf '%f\n' | sort -V | tail -n 1)
    if [ "$1" = x86_64 ]; then
        printf '%s\n' "$root/c++/$version" "$root/$triple/c++/$version" "$root" "$root/$triple"
    else
        printf '%s\n' "$root/c++/$version" "$root/c++/$version/$triple" "$root"
    fi
}

# On Apple targets clang makes __nonnull a keyword, which clashes with glibc's
# macro; a non-Linux target does not define _GNU_SOURCE, which libstdc++'s
# thread header needs.
common_flags=(
    -fsyntax-only -x objective-c++ -std=c++20 -fobjc-arc -fblocks
    -nostdinc -nostdinc++ -Wno-stdlibcxx-not-found
    -D_GNU_SOURCE -U__nonnull '-D__nonnull(p)='
    -isystem platform/macos/sdk-check
    -isystem "$resource_dir/include"
)
warning_flags=(
    -I. -I"$qt_include" -I"$qt_include/QtCore" -I"$qt_include/QtGui" -I"$qt_include/QtNetwork"
    -Wall -Wextra -Werror
    -Werror=objc-method-access -Werror=incompatible-pointer-types
    -Werror=protocol -Werror=incomplete-implementation -Werror=objc-property-implementation
    -Werror=format -Werror=nullability -Werror=arc-retain-cycles
    -Werror=unguarded-availability -Werror=unguarded-availability-new
    -Werror=deprecated-declarations
)

declare -A arch_flags
for arch in "${architectures[@]}"; do
    includes=$(library_includes "$arch") || exit 1
    arch_flags[$arch]="-target $arch-apple-macos$deployment_target"
    while IFS= read -r dir; do
        arch_flags[$arch]+=" -isystem $dir"
    done <<<"$includes"
done

# check ARCH FILE... : the syntax check of FILE... for one architecture.
check() {
    local arch=$1
    shift
    local -a target
    read -r -a target <<<"${arch_flags[$arch]}"
    "$clangxx" "${common_flags[@]}" "${target[@]}" "${warning_flags[@]}" "$@"
}

status=0
lines=0
# Platform.cpp too: its macOS branch is compiled nowhere else here.
mapfile -t sources < <(find platform/macos -path platform/macos/sdk-check -prune -o -name '*.mm' -print | sort)
sources+=(platform/Platform.cpp)
for source in "${sources[@]}"; do
    for arch in "${architectures[@]}"; do
        if ! check "$arch" "$source"; then
            echo "FAILED ($arch): $source" >&2
            status=1
        fi
    done
    lines=$((lines + $(wc -l <"$source")))
done
echo "syntax-checked ${#sources[@]} files (every .mm file and Platform.cpp), $lines lines," \
    "for ${architectures[*]}"

mapfile -t plists < <(find platform/macos/bundle -name '*.plist' -o -name '*.plist.in' -o -name '*.entitlements' | sort)
for plist in "${plists[@]}"; do
    python3 -c 'import plistlib, sys; plistlib.load(open(sys.argv[1], "rb"))' "$plist" ||
        { echo "FAILED: $plist is not a property list" >&2; status=1; }
done
echo "parsed ${#plists[@]} property lists"

# What the system and the code rely on in them.
python3 - <<'PY' || status=1
import plistlib, re, sys

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
# The daemon runs from its own bundle, which carries its provisioning profile,
# and is signed with the identifier the app requires of it.
def source_identifier(name):
    with open("shared/Identifiers.h") as f:
        vendor = re.search(r'#define ZOR_VENDOR "([^"]+)"', f.read())
    with open("platform/macos/PeerRequirement.h") as f:
        suffix = re.search(name + r'\[\] = ZOR_VENDOR "([^"]+)"', f.read())
    return vendor.group(1) + suffix.group(1) if vendor and suffix else None

with open("platform/macos/bundle/CMakeLists.txt") as f:
    location = re.search(r"MACOSX_PACKAGE_LOCATION (Helpers/\S+\.app/Contents)", f.read())
daemon_info = load("ZorDaemon-Info.plist.in")
daemon_program = load("com.zorlabs.zor-daemon.plist").get("BundleProgram", "")
expect(location is not None and daemon_program == "Contents/%s/MacOS/%s" % (
           location.group(1), daemon_info.get("CFBundleExecutable")),
       "the daemon's BundleProgram names the executable of the bundle CMake makes")
expect(daemon_info.get("CFBundleIdentifier") == source_identifier("kDaemonSigningIdentifier"),
       "ZorDaemon Info.plist: the identifier the app requires of the daemon")
expect(daemon_info.get("CFBundlePackageType") == "APPL", "ZorDaemon Info.plist: an app-like bundle")
expect(daemon_info.get("LSMinimumSystemVersion") == "13.0",
       "ZorDaemon Info.plist: LSMinimumSystemVersion 13.0")
expect(load("ZorDaemon.entitlements").get("com.apple.developer.endpoint-security.client") is True,
       "daemon entitlements: Endpoint Security client")

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

# expect_rejection ARCH SAMPLE: the check must reject SAMPLE with the error
# its "Expected error:" line names, not for some other reason.
expect_rejection() {
    local expected output
    expected=$(sed -n 's|^// Expected error: ||p' "$2")
    if output=$(check "$1" "$2" 2>&1); then
        echo "FAILED ($1): the check accepted $2" >&2
        status=1
    elif [ -z "$expected" ] || ! grep -qF -- "$expected" <<<"$output"; then
        echo "FAILED ($1): $2 was rejected, but not with: ${expected:-(no Expected error line)}" >&2
        echo "$output" >&2
        status=1
    else
        echo "rejected as it should ($1): $2: $expected"
    fi
}

if [ "${1:-}" = "--self-test" ]; then
    # Each sample is correct but for one mistake; the check must reject each on
    # every architecture...
    for sample in platform/macos/sdk-check/must-fail/*.mm; do
        for arch in "${architectures[@]}"; do
            expect_rejection "$arch" "$sample"
        done
    done
    # ...and a BOOL mistake that compiles for Intel, where BOOL is signed char,
    # on arm64, where it is bool: the reason both are checked.
    for sample in platform/macos/sdk-check/must-fail-arm64/*.mm; do
        expect_rejection arm64 "$sample"
        if check x86_64 "$sample"; then
            echo "accepted as it should (x86_64, where BOOL is signed char): $sample"
        else
            echo "FAILED (x86_64): $sample should only fail for arm64" >&2
            status=1
        fi
    done
    # The same samples without the mistake pass everywhere.
    for arch in "${architectures[@]}"; do
        if ! check "$arch" -DZOR_WITHOUT_MISTAKE platform/macos/sdk-check/must-fail/*.mm \
            platform/macos/sdk-check/must-fail-arm64/*.mm; then
            echo "FAILED ($arch): the corrected samples do not pass" >&2
            status=1
        fi
    done
fi
exit $status
