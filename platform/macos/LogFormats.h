#pragma once

// Every log line's format, for the unified log: os_log takes only literal
// formats, so each line's format is written out here and expanded once per line
// at the place that calls os_log. X0 to X3 take the format and the kind of each
// placeholder's value (STR, INT, LONG, DOUBLE), in order. A line missing here is
// still logged, but as its redacted text; a test checks that none is missing.

// clang-format off
#define ZOR_LOG_FORMATS(X0, X1, X2, X3) \
    X3("Added prompt: %{public}s %{public}s session=%{public}s", STR, STR, STR) \
    X1("Announced new prompts: %ld", LONG) \
    X1("CLI symlink created at %s", STR) \
    X1("Cannot listen for later starts: %{public}s", STR) \
    X1("Cannot watch for termination signals: %{public}s", STR) \
    X1("Could not lock %s, going on without taking turns with other starts", STR) \
    X1("Could not open the folder of %s either", STR) \
    X0("Connected to ZorAgent") \
    X0("Daemon registered successfully") \
    X1("Denying prompt %s for the session from its notification", STR) \
    X0("Disconnected from ZorAgent") \
    X1("Failed to create CLI symlink: %s", STR) \
    X0("Failed to decode prompt from ZorAgent callback") \
    X0("Failed to decode prompts from ZorAgent") \
    X1("Failed to disable filter for cycle: %s", STR) \
    X1("Failed to dismiss prompt: %s", STR) \
    X1("Failed to enable filter: %s", STR) \
    X1("Failed to handle prompt: %s", STR) \
    X1("Failed to load filter preferences: %s", STR) \
    X1("Failed to post a notification: %{public}s", STR) \
    X1("Failed to register ZorAgent: %{public}s", STR) \
    X1("Failed to register daemon: %{public}s", STR) \
    X2("Failed to write the audit-log script %s: %s", STR, STR) \
    X0("Filter already enabled, cycling to force startFilter()") \
    X1("Giving up on ZorAgent connection after %ld attempts", LONG) \
    X1("Group decision: %{public}s", STR) \
    X0("Ignored Deny on a notification that offered none") \
    X1("Ignored Deny on a notification: prompt %s cannot be denied for the session now", STR) \
    X1("Ignored Deny on a notification: prompt %s is no longer pending", STR) \
    X1("Ignored a later start's message of %ld bytes", LONG) \
    X2("Ignored a link of %ld characters, over the limit of %ld", LONG, LONG) \
    X1("Initial agent registration failed, retrying: %{public}s", STR) \
    X2("Marked %ld prompts as ended for session %{public}s", LONG, STR) \
    X0("NE not responding, re-enabling filter configuration") \
    X1("Navigating to prompt %s", STR) \
    X0("Network extension activated successfully") \
    X0("Network extension activation completed") \
    X1("Network extension activation failed: %s", STR) \
    X1("Network extension request failed: %s", STR) \
    X0("Network extension requires reboot to complete replacement") \
    X0("Network extension requires user approval") \
    X0("Network extension requires user approval in System Settings") \
    X0("Network extension will complete after reboot") \
    X0("Network filter enabled successfully") \
    X0("Network filter re-enabled successfully") \
    X0("No application delegate: the Dock icon does not bring the window back") \
    X2("No audit-log script for session %s: %s", STR, STR) \
    X2("No audit-log script for session %s: %{public}s", STR, STR) \
    X0("No connection to ZorAgent") \
    X0("No connection to ZorAgent for build number check") \
    X2("No file manager answered (%{public}s): opening the folder of %s instead", STR, STR) \
    X1("No private place for Zor's sockets, later starts cannot reach this one: %s", STR) \
    X1("No prompt found for %s, switching to Prompts tab", STR) \
    X0("No session bus: prompts are not notified") \
    X0("No session bus: the icon shows no prompt count") \
    X0("No team identifier in the app's signature: ZorAgent and the daemon are refused") \
    X1("No terminal and no desktop handler could open the script %s", STR) \
    X1("Not opening a link without a target: %{public}s", STR) \
    X2("Not opening the policy file %s: %{public}s", STR, STR) \
    X1("Notification authorization failed: %{public}s", STR) \
    X1("Notification server unavailable: %{public}s", STR) \
    X0("Notifications not allowed by the user") \
    X1("Notified of new prompts: %ld", LONG) \
    X0("Outside the app bundle: prompts are not notified") \
    X2("Override handled for %{public}s: %{public}s", STR, STR) \
    X2("Reconnecting to ZorAgent (attempt %ld/%ld)", LONG, LONG) \
    X1("Refused ZorAgent's socket: it is served by user %ld", LONG) \
    X1("Refused a later start from user %ld", LONG) \
    X1("Refused the running Zor's socket: it is served by user %ld", LONG) \
    X2("Removed prompt: %{public}s %{public}s", STR, STR) \
    X2("Replacing existing extension %s with %s", STR, STR) \
    X1("Restart failed: %s", STR) \
    X0("Restart: complete") \
    X0("Restart: deregistering agent") \
    X0("Restart: deregistering daemon") \
    X0("Restart: network extension replaced successfully") \
    X1("Restart: network extension replacement failed: %s", STR) \
    X0("Restart: network extension replacement needs reboot") \
    X0("Restart: network extension replacement requires approval") \
    X0("Restart: registering agent") \
    X0("Restart: registering daemon") \
    X0("Restart: replacing network extension") \
    X1("Skipped %ld more prompt records from ZorAgent", LONG) \
    X2("Skipped prompt record %ld from ZorAgent: %s", LONG, STR) \
    X1("Stop all failed: %s", STR) \
    X0("Stop all: deregistering agent") \
    X0("Stop all: deregistering daemon") \
    X0("Submitted network extension activation request") \
    X1("Synced %ld prompts from ZorAgent", LONG) \
    X1("Termination requested by %{public}s", STR) \
    X0("The daemon failed the code-signing check: connection dropped") \
    X2("Too much to hand over to the running Zor: %ld arguments, %ld bytes", LONG, LONG) \
    X1("Unknown result: %s", STR) \
    X0("Unregistering existing agent before re-registration") \
    X0("Unregistering existing daemon before re-registration") \
    X1("User clicked Fix CLI Symlink button (status: %{public}s)", STR) \
    X1("User clicked Fix Network Extension button (status: %{public}s)", STR) \
    X1("User clicked Fix Notification Agent button (status: %{public}s)", STR) \
    X1("User clicked Fix Sandbox Daemon button (status: %{public}s)", STR) \
    X0("User clicked Refresh button") \
    X0("User clicked Restart Services button") \
    X0("User clicked Stop All Services button") \
    X3("Will reconnect to ZorAgent in %fs (attempt %ld/%ld)", DOUBLE, LONG, LONG) \
    X0("Zor does not yet have full disk access (ES_NEW_CLIENT_RESULT_ERR_NOT_PERMITTED)") \
    X0("Zor cannot open its window: there is no display (DISPLAY and WAYLAND_DISPLAY are not set)") \
    X0("Zor is already running but not responding") \
    X0("Zor.app launched, connecting to ZorAgent") \
    X0("ZorAgent connection interrupted, invalidating for clean reconnect") \
    X0("ZorAgent connection invalidated") \
    X0("ZorAgent failed the code-signing check: connection dropped") \
    X2("ZorAgent did not reply to %{public}s within %ld seconds, ending the connection", STR, LONG) \
    X0("ZorAgent getBuildNumber timed out") \
    X1("ZorAgent left a frame unfinished for %ld seconds, ending the connection", LONG) \
    X1("ZorAgent proxy error (getBuildNumber): %s", STR) \
    X1("ZorAgent proxy error: %{public}s", STR) \
    X0("ZorAgent registered successfully") \
    X1("ZorAgent sent an unreadable frame, ending the connection: %{public}s", STR) \
    X1("unexpected ES client result: %{public}d", INT) \
    X0("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_INTERNAL") \
    X0("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_INVALID_ARGUMENT") \
    X0("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_NOT_ENTITLED") \
    X0("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_NOT_PRIVILEGED") \
    X0("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_TOO_MANY_CLIENTS")
// clang-format on
