#include "platform/macos/XpcDaemonConnection.h"

#include "platform/Log.h"
#include "platform/macos/MacCodeSigning.h"
#include "platform/macos/PeerRequirement.h"
#include "platform/macos/ReplyWait.h"
#include "shared/ZorDaemonXPC.h"

#include <QMutex>

namespace zor {
namespace {

constexpr Millis kReplyTimeout{5000};
// The daemon waits this long for the extension unless told otherwise.
constexpr double kDefaultPingTimeoutSeconds = 3.0;
// What the daemon may take on top of the ping itself.
constexpr Millis kPingReplyMargin{2000};

} // namespace

// One connection, made on first use and again after the system invalidated it.
struct XpcDaemonConnection::Link : std::enable_shared_from_this<Link> {
    QMutex mutex;
    NSXPCConnection* connection = nil;

    id<ZorDaemonProtocol> proxy(std::function<void()> onError) {
        NSXPCConnection* current = this->current();
        // The connection owns the handler, so the handler holds the connection
        // weakly, and this link too.
        __weak NSXPCConnection* weakCurrent = current;
        const std::weak_ptr<Link> weak = weak_from_this();
        return [current remoteObjectProxyWithErrorHandler:^(NSError* error) {
          NSXPCConnection* const failed = weakCurrent;
          if (isPeerSignatureRefusal(error) && failed)
              if (const auto self = weak.lock())
                  self->dropRefusedPeer(failed);
          onError();
        }];
    }

private:
    // Every call in flight ends with the same refusal: one line for them all,
    // and the next call makes a new connection.
    void dropRefusedPeer(NSXPCConnection* refused) {
        {
            QMutexLocker lock(&mutex);
            if (connection != refused)
                return;
            connection = nil;
        }
        logger(LogCategory::setup)
            .error("The daemon failed the code-signing check: connection dropped");
        [refused invalidate];
    }

    NSXPCConnection* current() {
        QMutexLocker lock(&mutex);
        if (connection)
            return connection;
        connection = [[NSXPCConnection alloc] initWithMachServiceName:@ZOR_DAEMON_MACH_SERVICE
                                                              options:NSXPCConnectionPrivileged];
        connection.remoteObjectInterface =
            [NSXPCInterface interfaceWithProtocol:@protocol(ZorDaemonProtocol)];
        requirePeerSignature(connection, kDaemonSigningIdentifier);
        // The connection owns its handler, so the handler holds the connection
        // weakly, and this link too: a link that is gone forgets nothing.
        __weak NSXPCConnection* made = connection;
        const std::weak_ptr<Link> weak = weak_from_this();
        connection.invalidationHandler = ^{
          NSXPCConnection* const invalidated = made;
          const auto self = weak.lock();
          if (!self || !invalidated)
              return;
          QMutexLocker lock(&self->mutex);
          if (self->connection == invalidated)
              self->connection = nil;
        };
        [connection resume];
        return connection;
    }
};

XpcDaemonConnection::XpcDaemonConnection()
    : link(std::make_shared<Link>()) {}

XpcDaemonConnection::~XpcDaemonConnection() {
    QMutexLocker lock(&link->mutex);
    link->connection.invalidationHandler = nil;
    [link->connection invalidate];
}

std::optional<DaemonStatusRecord> XpcDaemonConnection::getStatus() {
    const auto wait = std::make_shared<ReplyWait<DaemonStatusRecord>>();
    [link->proxy([wait] { wait->fail(); })
        getStatusWithReply:^(int32_t esClientResult, NSString* version, NSString* buildNumber) {
          wait->answer(DaemonStatusRecord{esClientResult, QString::fromNSString(version),
                                          QString::fromNSString(buildNumber)});
        }];
    return wait->wait(systemClock(), kReplyTimeout);
}

bool XpcDaemonConnection::pingNetworkExtension(std::optional<double> timeoutSeconds) {
    const double timeout = timeoutSeconds.value_or(kDefaultPingTimeoutSeconds);
    const auto wait = std::make_shared<ReplyWait<bool>>();
    [link->proxy([wait] { wait->fail(); }) pingNetworkExtensionWithTimeout:timeout
                                                                 withReply:^(BOOL isResponding) {
                                                                   wait->answer(isResponding);
                                                                 }];
    const Millis limit = Millis(qint64(timeout * 1000.0)) + kPingReplyMargin;
    return wait->wait(systemClock(), limit).value_or(false);
}

std::optional<QString> XpcDaemonConnection::getNetworkExtensionBuildNumber() {
    const auto wait = std::make_shared<ReplyWait<std::optional<QString>>>();
    [link->proxy([wait] { wait->fail(); })
        getNetworkExtensionBuildNumberWithReply:^(NSString* _Nullable buildNumber) {
          wait->answer(buildNumber ? std::optional<QString>(QString::fromNSString(buildNumber))
                                   : std::nullopt);
        }];
    return wait->wait(systemClock(), kReplyTimeout).value_or(std::nullopt);
}

} // namespace zor
