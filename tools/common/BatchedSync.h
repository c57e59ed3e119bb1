#pragma once

#include "agent/PromptFeed.h"
#include "prompts/IncomingPrompt.h"
#include "shared/SerializablePromptItem.h"

#include <QMetaObject>
#include <functional>

namespace zor::tools {

// Reads a sync's reply as the app's connection thread does, on the calling
// thread: each batch of records is handed to `feed` on its own thread as it
// is read, then the end; `onSynced` runs there once the last is added.
inline void readSyncInBatches(const QByteArray& reply, PromptFeed& feed,
                              std::function<void()> onSynced) {
    const PromptFeed::SyncId id = PromptFeed::newSyncId();
    SerializablePromptItem::partialListFromJson(
        reply, PromptFeed::kSyncBatchSize,
        [&feed, id](SerializablePromptItem::PartialList batch, qsizetype toCome) {
            QMetaObject::invokeMethod(
                &feed,
                [&feed, id, toCome, prompts = incomingPrompts(std::move(batch.records))]() mutable {
                    feed.addToSync(id, std::move(prompts), toCome);
                },
                Qt::QueuedConnection);
        });
    QMetaObject::invokeMethod(
        &feed, [&feed, id, onSynced = std::move(onSynced)]() { feed.endSync(id, onSynced); },
        Qt::QueuedConnection);
}

} // namespace zor::tools
