#pragma once

#include "platform/local/LocalFraming.h"
#include "platform/local/PrivateRuntimeDir.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QLatin1String>
#include <QString>
#include <optional>

// The messages that carry both agent interfaces over a local socket. A call
// from the app names its method and carries a call id; the agent answers with
// a reply bearing the same id. A callback from the agent names its method and
// expects nothing back. Raw data travels as base64 text; a reply whose data
// would not fit in one frame comes in parts with the same id, each but the
// last marked with `more`.
namespace zor::local {

namespace key {
inline constexpr QLatin1String type("type");
inline constexpr QLatin1String id("id");
inline constexpr QLatin1String method("method");
inline constexpr QLatin1String data("data");
inline constexpr QLatin1String promptId("promptId");
inline constexpr QLatin1String action("action");
inline constexpr QLatin1String lifetime("lifetime");
inline constexpr QLatin1String policyPath("policyPath");
inline constexpr QLatin1String sessionId("sessionId");
inline constexpr QLatin1String buildNumber("buildNumber");
inline constexpr QLatin1String success("success");
inline constexpr QLatin1String error("error");
inline constexpr QLatin1String more("more");
} // namespace key

// The raw data of one part of a reply: its base64 text and the envelope stay
// well inside a frame.
inline constexpr qsizetype kReplyPartLength = 8 * 1024 * 1024;
// The most data the app gathers for one reply, parts included: room for far
// more than 100,000 prompts.
inline constexpr qsizetype kMaxReplyDataLength = 256 * 1024 * 1024;
// The largest record a promptAdded callback can carry in one frame.
inline constexpr qsizetype kMaxRecordLength = (kMaxFrameLength - 1024) / 4 * 3;

namespace type {
inline constexpr QLatin1String call("call");
inline constexpr QLatin1String reply("reply");
inline constexpr QLatin1String callback("callback");
} // namespace type

namespace method {
inline constexpr QLatin1String getPrompts("getPrompts");
inline constexpr QLatin1String getBuildNumber("getBuildNumber");
inline constexpr QLatin1String handlePrompt("handlePrompt");
inline constexpr QLatin1String dismissPrompt("dismissPrompt");
inline constexpr QLatin1String promptAdded("promptAdded");
inline constexpr QLatin1String promptRemoved("promptRemoved");
inline constexpr QLatin1String promptsCleared("promptsCleared");
} // namespace method

QJsonObject makeCall(QLatin1String method);
QJsonObject makeReply(qint64 callId);
QJsonObject makeCallback(QLatin1String method);

QJsonValue encodeData(const QByteArray& data);

// Readers of one field; nothing when the field is missing or of another type.
std::optional<QByteArray> dataField(const Message& message, QLatin1String name);
std::optional<QString> stringField(const Message& message, QLatin1String name);
std::optional<bool> boolField(const Message& message, QLatin1String name);
std::optional<qint64> callIdField(const Message& message);

// A decision reply's error text: null or absent means none. Nothing at all
// when the field holds something other than text.
std::optional<std::optional<QString>> optionalStringField(const Message& message,
                                                          QLatin1String name);

// The socket of the agent's service: ZOR_AGENT_SOCKET when set, else a socket
// named after the service in the user's private directory.
SocketPlace agentSocketPlace(const QString& serviceName);

} // namespace zor::local
