#include "platform/Log.h"
#include "platform/macos/ExportedObjectGate.h"
#include "platform/macos/MacCodeSigning.h"
#include "platform/macos/PeerRequirement.h"
#include "platform/macos/PendingCalls.h"
#include "platform/macos/SystemValues.h"
#include "platform/macos/XpcAgentConnector.h"
#include "shared/ParserRoom.h"
#include "shared/ZorAgentXPC.h"

#include <QMutex>
#include <atomic>

// The app's side of the agent's callbacks: hands each one, converted, to the
// exported object for as long as its connection lets it.
@interface ZorAppCallbackExport : NSObject <ZorAppCallbackProtocol>
- (instancetype)initWithGate:(std::shared_ptr<zor::ExportedObjectGate>)gate;
@end

@implementation ZorAppCallbackExport {
    std::shared_ptr<zor::ExportedObjectGate> _gate;
}

- (instancetype)initWithGate:(std::shared_ptr<zor::ExportedObjectGate>)gate {
    if ((self = [super init]))
        _gate = std::move(gate);
    return self;
}

- (void)promptAddedWithPromptData:(NSData*)promptData {
    const QByteArray data = QByteArray::fromNSData(promptData);
    _gate->deliver([&](zor::ZorAppCallbackProtocol& app) { app.promptAddedWithPromptData(data); });
}

- (void)promptRemovedWithPromptId:(NSString*)promptId {
    const QString text = QString::fromNSString(promptId);
    _gate->deliver([&](zor::ZorAppCallbackProtocol& app) { app.promptRemovedWithPromptId(text); });
}

- (void)promptsClearedWithSessionId:(NSString*)sessionId {
    const QString text = QString::fromNSString(sessionId);
    _gate->deliver(
        [&](zor::ZorAppCallbackProtocol& app) { app.promptsClearedWithSessionId(text); });
}

@end

namespace zor {
namespace {

PlatformError errorFrom(NSError* error) {
    return errorFromSystem(QString::fromNSString(error.localizedDescription), long(error.code));
}

// The codes are those of the system's XPC errors.
PlatformError interruptedError() {
    return PlatformError{QStringLiteral("The connection to the agent was interrupted."), 4097};
}

PlatformError invalidatedError() {
    return PlatformError{QStringLiteral("The connection to the agent was invalidated."), 4099};
}

class XpcAgentConnection final : public AgentConnection,
                                 public std::enable_shared_from_this<XpcAgentConnection> {
public:
    XpcAgentConnection(const QString& serviceName, ZorAppCallbackProtocol& exportedObject)
        : gate(std::make_shared<ExportedObjectGate>(exportedObject))
        , calls(std::make_shared<PendingCalls>())
        , connection([[NSXPCConnection alloc] initWithMachServiceName:serviceName.toNSString()
                                                              options:NSXPCConnectionOptions(0)]) {
        connection.remoteObjectInterface =
            [NSXPCInterface interfaceWithProtocol:@protocol(ZorAgentProtocol)];
        connection.exportedInterface =
            [NSXPCInterface interfaceWithProtocol:@protocol(ZorAppCallbackProtocol)];
        connection.exportedObject = [[ZorAppCallbackExport alloc] initWithGate:gate];
        requirePeerSignature(connection, kAgentSigningIdentifier);
    }

    ~XpcAgentConnection() override {
        gate->close();
        connection.invalidationHandler = nil;
        connection.interruptionHandler = nil;
        [connection invalidate];
        calls->failAll(invalidatedError());
    }

    XpcAgentConnection(const XpcAgentConnection&) = delete;
    XpcAgentConnection& operator=(const XpcAgentConnection&) = delete;

    // The system's handlers run on the connection's queue and hold this object
    // weakly: a connection its owner let go of reports nothing.
    void installSystemHandlers() {
        const std::weak_ptr<XpcAgentConnection> weak = weak_from_this();
        connection.invalidationHandler = ^{
          if (const auto self = weak.lock())
              self->wasInvalidated();
        };
        connection.interruptionHandler = ^{
          if (const auto self = weak.lock())
              self->wasInterrupted();
        };
    }

    void setInvalidationHandler(Handler handler) override {
        QMutexLocker lock(&mutex);
        invalidationHandler = std::move(handler);
    }

    void setInterruptionHandler(Handler handler) override {
        QMutexLocker lock(&mutex);
        interruptionHandler = std::move(handler);
    }

    void resume() override {
        QMutexLocker lock(&mutex);
        if (isResumed)
            return;
        isResumed = true;
        [connection resume];
    }

    void invalidate() override {
        gate->close();
        [connection invalidate];
    }

    std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) override;

    // A proxy for one call: its error ends that call alone, unless the agent
    // failed the code-signing check, which ends the connection.
    id<ZorAgentProtocol> proxyForCall(PendingCalls::CallId call) {
        const std::shared_ptr<PendingCalls> pending = calls;
        const std::weak_ptr<XpcAgentConnection> weak = weak_from_this();
        return [connection remoteObjectProxyWithErrorHandler:^(NSError* error) {
          if (isPeerSignatureRefusal(error))
              if (const auto self = weak.lock())
                  self->dropRefusedPeer();
          pending->fail(call, errorFrom(error));
        }];
    }

    const std::shared_ptr<ExportedObjectGate> gate;
    const std::shared_ptr<PendingCalls> calls;

private:
    // Every call in flight ends with the same refusal: one line for them all.
    void dropRefusedPeer() {
        if (isPeerRefused.exchange(true))
            return;
        logger(LogCategory::notifications)
            .error("ZorAgent failed the code-signing check: connection dropped");
        invalidate();
    }

    void wasInvalidated() {
        gate->close();
        calls->failAll(invalidatedError());
        Handler handler;
        {
            QMutexLocker lock(&mutex);
            handler = std::move(invalidationHandler);
            invalidationHandler = {};
            interruptionHandler = {};
        }
        if (handler)
            handler();
    }

    void wasInterrupted() {
        calls->failAll(interruptedError());
        Handler handler;
        {
            QMutexLocker lock(&mutex);
            handler = interruptionHandler;
        }
        if (handler)
            handler();
    }

    NSXPCConnection* const connection;
    QMutex mutex;
    Handler invalidationHandler;
    Handler interruptionHandler;
    bool isResumed = false;
    std::atomic_bool isPeerRefused = false;
};

// The agent's side. Each call ends in exactly one of its reply and the error
// handler; replies run on the connection's queue, where the data is decoded.
class XpcAgentProxy final : public ZorAgentProtocol {
public:
    XpcAgentProxy(std::shared_ptr<XpcAgentConnection> connection,
                  AgentConnection::ErrorHandler onError)
        : connection(std::move(connection))
        , onError(std::move(onError)) {}

    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override {
        const std::shared_ptr<PendingCalls> pending = connection->calls;
        const PendingCalls::CallId call = pending->open(onError);
        [connection->proxyForCall(call) getPromptsWithReply:^(NSData* promptsData) {
          if (!pending->finish(call))
              return;
          // Copied once, with the room after it that lets the reader read it
          // where it is.
          QByteArray data;
          data.reserve(qsizetype(promptsData.length) + kParserRoom);
          data.append(static_cast<const char*>(promptsData.bytes), qsizetype(promptsData.length));
          reply(data);
        }];
    }

    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override {
        const std::shared_ptr<PendingCalls> pending = connection->calls;
        const PendingCalls::CallId call = pending->open(onError);
        [connection->proxyForCall(call) getBuildNumberWithReply:^(NSString* buildNumber) {
          if (pending->finish(call))
              reply(QString::fromNSString(buildNumber));
        }];
    }

    void handlePromptWithPromptId(const QString& promptId, const QString& action,
                                  const QString& lifetime, const QString& policyPath,
                                  DecisionReply reply) override {
        const PendingCalls::CallId call = connection->calls->open(onError);
        [connection->proxyForCall(call) handlePromptWithPromptId:promptId.toNSString()
                                                          action:action.toNSString()
                                                        lifetime:lifetime.toNSString()
                                                      policyPath:policyPath.toNSString()
                                                       withReply:decisionReply(call, reply)];
    }

    void dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) override {
        const PendingCalls::CallId call = connection->calls->open(onError);
        [connection->proxyForCall(call) dismissPromptWithPromptId:promptId.toNSString()
                                                        withReply:decisionReply(call, reply)];
    }

private:
    void (^decisionReply(PendingCalls::CallId call, DecisionReply reply))(BOOL, NSString*) {
        const std::shared_ptr<PendingCalls> pending = connection->calls;
        return ^(BOOL success, NSString* _Nullable error) {
          if (!pending->finish(call))
              return;
          reply(success,
                error ? std::optional<QString>(QString::fromNSString(error)) : std::nullopt);
        };
    }

    const std::shared_ptr<XpcAgentConnection> connection;
    const AgentConnection::ErrorHandler onError;
};

std::shared_ptr<ZorAgentProtocol>
XpcAgentConnection::remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) {
    return std::make_shared<XpcAgentProxy>(shared_from_this(), std::move(errorHandler));
}

} // namespace

std::shared_ptr<AgentConnection>
XpcAgentConnector::connectToService(const QString& serviceName,
                                    ZorAppCallbackProtocol& exportedObject) {
    auto connection = std::make_shared<XpcAgentConnection>(serviceName, exportedObject);
    connection->installSystemHandlers();
    return connection;
}

} // namespace zor
