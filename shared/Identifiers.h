#pragma once

// Every identifier of the product begins with the organisation's reverse-DNS prefix.
#define ZOR_VENDOR "com.zorlabs"

namespace zor {

inline constexpr char kVendor[] = ZOR_VENDOR;
inline constexpr char kAppSubsystem[] = ZOR_VENDOR ".zor";
// The app's bundle identifier; elsewhere the name of its desktop entry.
inline constexpr char kAppBundleId[] = ZOR_VENDOR ".zor";
inline constexpr char kDaemonPlistName[] = ZOR_VENDOR ".zor-daemon.plist";
inline constexpr char kAgentPlistName[] = ZOR_VENDOR ".zor.agent.plist";
inline constexpr char kAgentMachServiceName[] = ZOR_VENDOR ".zor.agent.app";
inline constexpr char kNetworkExtensionBundleId[] = ZOR_VENDOR ".zor.ZorNetworkExtension";

inline constexpr char kCliLinkPath[] = "/usr/local/bin/zor";
inline constexpr char kCliLinkDirectory[] = "/usr/local/bin";
inline constexpr char kCliLinkTarget[] = "/Applications/Zor.app/Contents/MacOS/zor-cli";

inline constexpr char kFilterDescription[] = "Zor";

} // namespace zor
