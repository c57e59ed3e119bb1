#include "agent/NotificationHandler.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "prompts/IncomingPrompt.h"
#include "prompts/PromptStore.h"
#include "shared/Identifiers.h"
#include "shared/SerializablePromptItem.h"

#include <QCoreApplication>
#include <QMutex>
#include <QSemaphore>
#include <cmath>
#include <utility>
#include <variant>

namespace zor {

namespace {

const Logger& log() {
    return logger(LogCategory::notifications);
}

// Queues `fn` for the main thread; dropped when the application is gone.
void onMainThread(std::function<void()> fn) {
    if (QCoreApplication* app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

QString promptIdText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

// A decision's reply, handed on to `completion` on the main thread.
DecisionReply completionOnMainThread(NotificationHandler::DecisionCompletion completion) {
    return [completion = std::move(completion)](bool success, std::optional<QString> error) {
        onMainThread([completion, success, error] { completion(success, error); });
    };
}

} // namespace

NotificationHandler::NotificationHandler(AgentConnector& connector, Clock& clock, QObject* parent)
    : QObject(parent)
    , connector(connector)
    , clock(clock)
    , serviceName(QString::fromLatin1(kAgentMachServiceName))
    , feed([this] { return state ? state->promptStore() : nullptr; }, clock)
    , inbox(AgentInbox::create(
          [self = QPointer<NotificationHandler>(this)](std::vector<AgentInbox::Item> items) {
              if (self)
                  self->takeFromAgent(std::move(items));
          })) {
    requireMainThread("NotificationHandler");
}

NotificationHandler::~NotificationHandler() {
    // Afterwards the connection no longer calls this object.
    disconnect();
}

void NotificationHandler::setAppState(AppState* appState) {
    requireMainThread("NotificationHandler::setAppState");
    state = appState;
}

void NotificationHandler::connect() {
    requireMainThread("NotificationHandler::connect");
    if (state && !hasSynced)
        state->setAwaitingSync(true);
    if (connection) {
        // Its end must not schedule anything.
        connection->setInvalidationHandler({});
        connection->setInterruptionHandler({});
        connection->invalidate();
        connection.reset();
    }
    if (attempt > kMaxReconnectAttempts - 1) {
        log().error("Giving up on ZorAgent connection after %ld attempts", {kMaxReconnectAttempts});
        endSyncWait();
        return;
    }
    if (attempt >= 1)
        log().info("Reconnecting to ZorAgent (attempt %ld/%ld)",
                   {attempt + 1, kMaxReconnectAttempts});

    auto newConnection = connector.connectToService(serviceName, *this);
    const QPointer<NotificationHandler> self(this);
    newConnection->setInvalidationHandler([self] {
        log().error("ZorAgent connection invalidated");
        onMainThread([self] {
            if (self)
                self->scheduleReconnect();
        });
    });
    const std::weak_ptr<AgentConnection> weakConnection = newConnection;
    newConnection->setInterruptionHandler([weakConnection] {
        log().error("ZorAgent connection interrupted, invalidating for clean reconnect");
        if (const auto interrupted = weakConnection.lock())
            interrupted->invalidate();
    });

    connection = std::move(newConnection);
    if (state && state->isAwaitingSync()) {
        clock.cancel(syncWaitLimit);
        syncWaitLimit = clock.schedule(kSyncWaitLimit, this, [this] { endSyncWait(); });
    }
    // Reset before anything is known about the agent: an absent agent thus
    // gets a retry every two seconds for as long as it stays away.
    attempt = 0;
    connection->resume();
    log().info("Connected to ZorAgent");
    syncPrompts();
}

void NotificationHandler::disconnect() {
    requireMainThread("NotificationHandler::disconnect");
    if (!connection)
        return;
    connection->setInvalidationHandler({});
    connection->setInterruptionHandler({});
    connection->invalidate();
    connection.reset();
    log().info("Disconnected from ZorAgent");
    endSyncWait();
}

void NotificationHandler::endSyncWait() {
    clock.cancel(syncWaitLimit);
    if (state)
        state->setAwaitingSync(false);
}

void NotificationHandler::scheduleReconnect() {
    requireMainThread("NotificationHandler::scheduleReconnect");
    if (isReconnectStopped)
        return;
    // The connection failed: a link held for the sync goes on without it.
    endSyncWait();
    ++attempt;
    if (attempt > kMaxReconnectAttempts) {
        log().error("Giving up on ZorAgent connection after %ld attempts", {kMaxReconnectAttempts});
        return;
    }
    const double delay = std::min(kReconnectBaseDelaySeconds * std::pow(2.0, double(attempt - 1)),
                                  kMaxReconnectDelaySeconds);
    log().info("Will reconnect to ZorAgent in %fs (attempt %ld/%ld)",
               {delay, attempt, kMaxReconnectAttempts});
    reconnectTimer =
        clock.schedule(Millis(qint64(std::llround(delay * 1000.0))), this, [this] { connect(); });
}

void NotificationHandler::stopReconnecting() {
    isReconnectStopped = true;
    clock.cancel(reconnectTimer);
}

std::shared_ptr<ZorAgentProtocol> NotificationHandler::remoteProxy(std::function<void()> onError) {
    if (!connection) {
        log().error("No connection to ZorAgent");
        return nullptr;
    }
    return connection->remoteObjectProxyWithErrorHandler(
        [onError = std::move(onError)](const PlatformError& error) {
            log().error("ZorAgent proxy error: %{public}s", {error.localizedDescription});
            if (onError)
                onMainThread(onError);
        });
}

void NotificationHandler::syncPrompts() {
    const QPointer<NotificationHandler> self(this);
    // A sync whose answer never comes has ended all the same: a link held
    // for it goes on without it, even while the connection stays. One of a
    // connection since replaced leaves the wait to the new one's sync.
    const std::weak_ptr<AgentConnection> syncing = connection;
    std::function<void()> onError = [self, syncing] {
        if (self && self->connection && self->connection == syncing.lock())
            self->endSyncWait();
    };
    const auto proxy = remoteProxy(std::move(onError));
    if (!proxy) {
        endSyncWait();
        return;
    }
    proxy->getPromptsWithReply([self, inbox = inbox](const QByteArray& data) {
        // The records reach the store in batches as they are read, so that
        // the first rows show while the rest are still read. One bad record
        // costs that record only.
        const PromptFeed::SyncId id = PromptFeed::newSyncId();
        // A line for each of the first bad records; a reply of nothing else
        // gets no more than a count for the rest.
        constexpr qint64 kSkipsToldOneByOne = 20;
        qint64 skipped = 0;
        const auto read = SerializablePromptItem::partialListFromJson(
            data, PromptFeed::kSyncBatchSize,
            [self, &inbox, id, &skipped](SerializablePromptItem::PartialList batch,
                                         qsizetype toCome) {
                for (const auto& failure : batch.failures)
                    if (++skipped <= kSkipsToldOneByOne)
                        log().error("Skipped prompt record %ld from ZorAgent: %s",
                                    {qint64(failure.index), failure.error});
                if (batch.records.isEmpty())
                    return;
                inbox->post([self, id, toCome,
                             prompts = incomingPrompts(std::move(batch.records))]() mutable {
                    if (self)
                        self->feed.addToSync(id, std::move(prompts), toCome);
                });
            });
        if (skipped > kSkipsToldOneByOne)
            log().error("Skipped %ld more prompt records from ZorAgent",
                        {skipped - kSkipsToldOneByOne});
        if (!read) {
            log().error("Failed to decode prompts from ZorAgent");
            inbox->post([self] {
                if (self)
                    self->endSyncWait();
            });
            return;
        }
        inbox->post([self, id, count = read.value()] {
            if (!self)
                return;
            // Without a store the feed drops the sync, and nothing is synced.
            self->feed.endSync(id, [self, count] {
                if (!self)
                    return;
                self->hasSynced = true;
                self->endSyncWait();
                emit self->promptsSynced(count);
            });
        });
    });
}

void NotificationHandler::takeFromAgent(std::vector<AgentInbox::Item> items) {
    std::vector<PromptFeed::Change> changes;
    for (AgentInbox::Item& item : items) {
        if (auto* change = std::get_if<PromptFeed::Change>(&item)) {
            changes.push_back(std::move(*change));
            continue;
        }
        feed.apply(std::exchange(changes, {}));
        std::get<std::function<void()>>(item)();
    }
    feed.apply(std::move(changes));
}

void NotificationHandler::promptAddedWithPromptData(const QByteArray& promptData) {
    auto decoded = SerializablePromptItem::fromJson(promptData);
    if (!decoded) {
        log().error("Failed to decode prompt from ZorAgent callback");
        return;
    }
    inbox->post([prompt = IncomingPrompt(std::move(decoded).value())](PromptStore& store) mutable {
        store.addPrompt(std::move(prompt));
    });
}

void NotificationHandler::promptRemovedWithPromptId(const QString& promptId) {
    const auto id = parsePromptId(promptId);
    if (!id)
        return;
    inbox->post([id = *id](PromptStore& store) { store.removePrompt(id); });
}

void NotificationHandler::promptsClearedWithSessionId(const QString& sessionId) {
    inbox->post([sessionId](PromptStore& store) { store.markSessionEnded(sessionId); });
}

void NotificationHandler::handlePrompt(const QUuid& id, const QString& action,
                                       const QString& lifetime, const QString& policyPath,
                                       DecisionCompletion completion, NoAnswer noAnswer) {
    requireMainThread("NotificationHandler::handlePrompt");
    const auto proxy = remoteProxy(std::move(noAnswer));
    if (!proxy) {
        completion(false, QStringLiteral("Not connected to ZorAgent"));
        return;
    }
    proxy->handlePromptWithPromptId(promptIdText(id), action, lifetime, policyPath,
                                    completionOnMainThread(std::move(completion)));
}

void NotificationHandler::dismissPrompt(const QUuid& id, DecisionCompletion completion,
                                        NoAnswer noAnswer) {
    requireMainThread("NotificationHandler::dismissPrompt");
    const auto proxy = remoteProxy(std::move(noAnswer));
    if (!proxy) {
        completion(false, QStringLiteral("Not connected to ZorAgent"));
        return;
    }
    proxy->dismissPromptWithPromptId(promptIdText(id),
                                     completionOnMainThread(std::move(completion)));
}

std::optional<QString> NotificationHandler::getBuildNumber() {
    if (isMainThread())
        qFatal("NotificationHandler::getBuildNumber must not be called on the main thread");
    std::shared_ptr<AgentConnection> current;
    QMetaObject::invokeMethod(
        this, [this, &current] { current = connection; }, Qt::BlockingQueuedConnection);
    if (!current) {
        log().error("No connection to ZorAgent for build number check");
        return std::nullopt;
    }

    // Shared with the reply, which may come after the wait has given up.
    struct Wait {
        QSemaphore semaphore;
        QMutex mutex;
        std::optional<QString> buildNumber;
    };
    const auto wait = std::make_shared<Wait>();
    auto proxy = current->remoteObjectProxyWithErrorHandler([wait](const PlatformError& error) {
        log().error("ZorAgent proxy error (getBuildNumber): %s", {error.localizedDescription});
        wait->semaphore.release();
    });
    proxy->getBuildNumberWithReply([wait](const QString& buildNumber) {
        {
            QMutexLocker lock(&wait->mutex);
            wait->buildNumber = buildNumber;
        }
        wait->semaphore.release();
    });
    const bool isAnswered = clock.tryAcquire(wait->semaphore, kBuildNumberTimeout);
    // A reconnect may have let go of the connection meanwhile: should this
    // be its last holder, it ends on the main thread, which owns it, rather
    // than keep this worker waiting for its thread.
    onMainThread([held = std::move(current), heldProxy = std::move(proxy)] {});
    if (!isAnswered) {
        log().error("ZorAgent getBuildNumber timed out");
        return std::nullopt;
    }
    QMutexLocker lock(&wait->mutex);
    return wait->buildNumber;
}

} // namespace zor
