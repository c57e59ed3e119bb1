#!/usr/bin/env bash
# Builds Zor.app for release on a Mac, signs it inside out, has it notarised
# and staples the ticket:
#  1. builds the app (Release) and puts Qt's frameworks, plug-ins and QML
#     modules into a copy of it with macdeployqt;
#  2. puts the background services' builds into the bundle where the launch
#     property lists name them: the daemon into its own bundle
#     Contents/Helpers/ZorDaemon.app, the agent and the command-line tool into
#     Contents/MacOS, the network extension into Contents/Library/SystemExtensions,
#     with a provisioning profile in the app, the daemon and the extension;
#  3. signs every piece of code, nested code first, each with its own
#     entitlements, the hardened runtime and a secure timestamp; never --deep,
#     and never over a signature: the linker's ad-hoc one is removed first;
#  4. verifies: codesign --verify --strict, each piece's entitlements, and that
#     the agent and the daemon meet the requirement the app asks of its peers;
#  5. submits the app to the notary service, staples the ticket, and checks it
#     as Gatekeeper will with spctl; writes Zor.zip beside the app.
#
# Usage: scripts/macos-release.sh OPTION...   (each also from the environment)
#   --identity NAME                "Developer ID Application: ..." or its hash  [ZOR_SIGN_IDENTITY]
#   --team ID                      the team identifier, 10 characters           [ZOR_TEAM_ID]
#   --app-profile FILE             Zor.app's provisioning profile               [ZOR_APP_PROFILE]
#   --daemon-profile FILE          the daemon's provisioning profile            [ZOR_DAEMON_PROFILE]
#   --extension-profile FILE       the network extension's profile              [ZOR_EXTENSION_PROFILE]
#   --daemon FILE                  the daemon's executable                      [ZOR_DAEMON]
#   --agent FILE                   the agent's executable                       [ZOR_AGENT]
#   --cli FILE                     the command-line tool                        [ZOR_CLI]
#   --extension DIR                the network extension's .systemextension     [ZOR_EXTENSION]
#   --extension-entitlements FILE  its entitlements, from its own build         [ZOR_EXTENSION_ENTITLEMENTS]
#   --notary-profile NAME          a notarytool keychain profile                [ZOR_NOTARY_PROFILE]
#                                  (xcrun notarytool store-credentials NAME)
#   --build-number TEXT            the product build number                     [ZOR_BUILD_NUMBER]
#   --build-dir DIR                default build/release-mac                    [ZOR_BUILD_DIR]
#   --prefix-path PATHS            CMAKE_PREFIX_PATH for Qt and QCoro           [CMAKE_PREFIX_PATH]
#                                  (default: Homebrew's qt and qcoro)
#   --no-notarize                  stop after signing and verifying
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD

die() {
    echo "macos-release: $*" >&2
    exit 1
}

usage() {
    sed -n '2,/^set -euo/{/^set -euo/d;s/^# \{0,1\}//;p;}' "$0"
}

identity=${ZOR_SIGN_IDENTITY:-}
team=${ZOR_TEAM_ID:-}
app_profile=${ZOR_APP_PROFILE:-}
daemon_profile=${ZOR_DAEMON_PROFILE:-}
extension_profile=${ZOR_EXTENSION_PROFILE:-}
daemon=${ZOR_DAEMON:-}
agent=${ZOR_AGENT:-}
cli=${ZOR_CLI:-}
extension=${ZOR_EXTENSION:-}
extension_entitlements=${ZOR_EXTENSION_ENTITLEMENTS:-}
notary_profile=${ZOR_NOTARY_PROFILE:-}
build_number=${ZOR_BUILD_NUMBER:-}
build_dir=${ZOR_BUILD_DIR:-build/release-mac}
prefix_path=${CMAKE_PREFIX_PATH:-}
notarize=true

while [ $# -gt 0 ]; do
    option=$1
    case $option in
    --no-notarize) notarize=false; shift; continue ;;
    -h | --help) usage; exit 0 ;;
    --*) [ $# -ge 2 ] || die "$option needs a value" ;;
    *) die "unexpected argument: $option (see --help)" ;;
    esac
    value=$2
    shift 2
    case $option in
    --identity) identity=$value ;;
    --team) team=$value ;;
    --app-profile) app_profile=$value ;;
    --daemon-profile) daemon_profile=$value ;;
    --extension-profile) extension_profile=$value ;;
    --daemon) daemon=$value ;;
    --agent) agent=$value ;;
    --cli) cli=$value ;;
    --extension) extension=$value ;;
    --extension-entitlements) extension_entitlements=$value ;;
    --notary-profile) notary_profile=$value ;;
    --build-number) build_number=$value ;;
    --build-dir) build_dir=$value ;;
    --prefix-path) prefix_path=$value ;;
    *) die "unknown option: $option (see --help)" ;;
    esac
done

[ "$(uname -s)" = Darwin ] || die "runs on macOS only"
[ -n "$identity" ] || die "no signing identity (--identity)"
[[ $team =~ ^[A-Z0-9]{10}$ ]] || die "no team identifier of 10 characters (--team)"
for file in "$app_profile" "$daemon_profile" "$extension_profile" "$daemon" "$agent" "$cli" \
    "$extension_entitlements"; do
    if [ -z "$file" ] || [ ! -f "$file" ]; then
        die "missing input: '$file' (see --help)"
    fi
done
[ -d "$extension" ] || die "no network extension bundle: '$extension' (--extension)"
if $notarize; then
    [ -n "$notary_profile" ] || die "no notarytool keychain profile (--notary-profile)"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

plist_value() { # plist_value FILE KEY: one value of a property list
    /usr/libexec/PlistBuddy -c "Print :$2" "$1"
}

# The identifiers the app's peer check asks for, from the sources it is built from.
vendor=$(sed -n 's/^#define ZOR_VENDOR "\(.*\)"$/\1/p' shared/Identifiers.h)
source_identifier() {
    local suffix
    suffix=$(sed -n "s/.*$1\[\] = ZOR_VENDOR \"\(.*\)\";/\1/p" platform/macos/PeerRequirement.h)
    if [ -z "$vendor" ] || [ -z "$suffix" ]; then
        die "no $1 in platform/macos/PeerRequirement.h"
    fi
    echo "$vendor$suffix"
}
agent_identifier=$(source_identifier kAgentSigningIdentifier)
daemon_identifier=$(source_identifier kDaemonSigningIdentifier)
cli_identifier=$vendor.zor.cli

# The same requirement as platform/macos/PeerRequirement.cpp.
peer_requirement() {
    echo "anchor apple generic and certificate leaf[subject.OU] = \"$team\" and identifier \"$1\""
}

echo "== build"
if [ -z "$prefix_path" ]; then
    command -v brew >/dev/null || die "no Homebrew: give Qt's and QCoro's prefixes (--prefix-path)"
    prefix_path="$(brew --prefix qt)"
    if brew list qcoro >/dev/null 2>&1; then
        prefix_path+=";$(brew --prefix qcoro)"
    fi
fi
cmake_options=(-S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZOR_BUILD_TESTS=OFF
    -DZOR_WARNINGS_AS_ERRORS=ON "-DCMAKE_PREFIX_PATH=$prefix_path")
if [ -n "$build_number" ]; then
    cmake_options+=("-DZOR_BUILD_NUMBER=$build_number")
fi
cmake "${cmake_options[@]}"
cmake --build "$build_dir"

stage=$build_dir/release
app=$stage/Zor.app
rm -rf "$stage"
mkdir -p "$stage"
ditto "$build_dir/app/Zor.app" "$app"

echo "== Qt into the bundle"
# Qt's is the first prefix.
macdeployqt=${MACDEPLOYQT:-$(command -v macdeployqt || echo "${prefix_path%%;*}/bin/macdeployqt")}
"$macdeployqt" "$app" -qmldir="$source_dir" -verbose=1

echo "== services into the bundle"
# Where the launch property lists say the system finds them.
daemon_program=$(plist_value platform/macos/bundle/com.zorlabs.zor-daemon.plist BundleProgram)
agent_program=$(plist_value platform/macos/bundle/com.zorlabs.zor.agent.plist BundleProgram)
daemon_bundle=$app/${daemon_program%/Contents/MacOS/*}
[ -f "$daemon_bundle/Contents/Info.plist" ] || die "no daemon bundle at $daemon_bundle"
[ "$(plist_value "$daemon_bundle/Contents/Info.plist" CFBundleIdentifier)" = "$daemon_identifier" ] ||
    die "the daemon bundle's identifier is not $daemon_identifier"
install -m 0755 "$daemon" "$app/$daemon_program"
install -m 0755 "$agent" "$app/$agent_program"
install -m 0755 "$cli" "$app/Contents/MacOS/zor-cli"
extension_name=$(basename "$extension")
extension_identifier=$(plist_value "$extension/Contents/Info.plist" CFBundleIdentifier)
[ "$extension_name" = "$extension_identifier.systemextension" ] ||
    die "the extension must be named after its identifier: $extension_identifier.systemextension"
extension_bundle=$app/Contents/Library/SystemExtensions/$extension_name
mkdir -p "$(dirname "$extension_bundle")"
ditto "$extension" "$extension_bundle"

app_identifier=$(plist_value "$app/Contents/Info.plist" CFBundleIdentifier)

# install_profile PROFILE BUNDLE IDENTIFIER: a profile must be the team's and
# name the bundle's application identifier, or the system refuses to run it.
install_profile() {
    local decoded=$work/$3.profile.plist
    security cms -D -i "$1" >"$decoded" || die "cannot read the profile $1"
    [ "$(plist_value "$decoded" TeamIdentifier:0)" = "$team" ] ||
        die "the profile $1 is not team $team's"
    [ "$(plist_value "$decoded" Entitlements:com.apple.application-identifier)" = "$team.$3" ] ||
        die "the profile $1 is not for $3"
    cp "$1" "$2/Contents/embedded.provisionprofile"
}
install_profile "$app_profile" "$app" "$app_identifier"
install_profile "$daemon_profile" "$daemon_bundle" "$daemon_identifier"
install_profile "$extension_profile" "$extension_bundle" "$extension_identifier"

# entitlements_for SOURCE IDENTIFIER: SOURCE with the application and team
# identifiers that tie a signature to its provisioning profile.
entitlements_for() {
    local out=$work/$2.entitlements key
    cp "$1" "$out"
    for key in com.apple.application-identifier com.apple.developer.team-identifier; do
        /usr/libexec/PlistBuddy -c "Delete :$key" "$out" >/dev/null 2>&1 || true
    done
    /usr/libexec/PlistBuddy -c "Add :com.apple.application-identifier string $team.$2" \
        -c "Add :com.apple.developer.team-identifier string $team" "$out" >/dev/null ||
        die "cannot add the identifiers to $1"
    echo "$out"
}
app_entitlements=$(entitlements_for platform/macos/bundle/Zor.entitlements "$app_identifier")
daemon_entitlements=$(entitlements_for platform/macos/bundle/ZorDaemon.entitlements \
    "$daemon_identifier")
extension_entitlements=$(entitlements_for "$extension_entitlements" "$extension_identifier")

echo "== sign, inside out"
# sign PATH [ENTITLEMENTS [IDENTIFIER]]: whatever signature PATH had (the
# linker's or macdeployqt's ad-hoc one, the extension's own build's) is removed
# first, so that codesign never needs --force and no call can drop an
# entitlement silently: each names all its code's entitlements.
sign() {
    local -a options=(--sign "$identity" --options runtime --timestamp)
    if [ -n "${2:-}" ]; then
        options+=(--entitlements "$2")
    fi
    if [ -n "${3:-}" ]; then
        options+=(--identifier "$3")
    fi
    if codesign --display "$1" >/dev/null 2>&1; then
        codesign --remove-signature "$1"
    fi
    codesign "${options[@]}" "$1"
}

# Libraries, plug-ins and frameworks anywhere in the bundle, the deepest first
# (find -depth lists a folder's contents before the folder).
while IFS= read -r -d '' code; do
    sign "$code"
done < <(find "$app/Contents" -depth \( -type f -name '*.dylib' -o -type d -name '*.framework' \) \
    -print0)
sign "$extension_bundle" "$extension_entitlements"
sign "$daemon_bundle" "$daemon_entitlements"
sign "$app/$agent_program" "" "$agent_identifier"
sign "$app/Contents/MacOS/zor-cli" "" "$cli_identifier"
sign "$app" "$app_entitlements"

echo "== verify"
# --deep only to verify: every nested signature, as the system checks them.
codesign --verify --strict --deep --verbose=2 "$app"
# has_entitlements CODE EXPECTED: the signature carries every entitlement asked for.
has_entitlements() {
    codesign --display --entitlements - --xml "$1" 2>/dev/null >"$work/signed.plist"
    python3 - "$2" "$work/signed.plist" <<'PY' || die "$1 lacks entitlements of $2"
import plistlib, sys
with open(sys.argv[1], "rb") as f:
    expected = plistlib.load(f)
with open(sys.argv[2], "rb") as f:
    signed = plistlib.load(f)
missing = [key for key, value in expected.items() if signed.get(key) != value]
print("\n".join("missing entitlement: " + key for key in missing), file=sys.stderr)
sys.exit(1 if missing else 0)
PY
}
has_entitlements "$app" "$app_entitlements"
has_entitlements "$daemon_bundle" "$daemon_entitlements"
has_entitlements "$extension_bundle" "$extension_entitlements"
# The app refuses an agent or a daemon that fails these.
for code in "$app/$agent_program:$agent_identifier" "$daemon_bundle:$daemon_identifier" \
    "$app:$app_identifier"; do
    codesign --verify --strict --test-requirement "=$(peer_requirement "${code##*:}")" "${code%:*}"
done

if ! $notarize; then
    echo "signed and verified, not notarised: $app (Gatekeeper rejects it until it is)"
    exit 0
fi

echo "== notarise and staple"
ditto -c -k --keepParent "$app" "$work/Zor-notarize.zip"
xcrun notarytool submit "$work/Zor-notarize.zip" --keychain-profile "$notary_profile" --wait \
    --output-format json >"$work/notary.json"
submission=$(plutil -extract id raw -o - "$work/notary.json")
if [ "$(plutil -extract status raw -o - "$work/notary.json")" != Accepted ]; then
    xcrun notarytool log "$submission" --keychain-profile "$notary_profile" >&2 || true
    die "notarisation of submission $submission was not accepted"
fi
xcrun stapler staple "$app"
xcrun stapler validate "$app"
# Only a notarised app passes; this is what Gatekeeper will decide.
spctl --assess --type execute --verbose=2 "$app"
ditto -c -k --keepParent "$app" "$stage/Zor.zip"
echo "notarised and stapled: $app, $stage/Zor.zip"
