#pragma once

#include <QByteArray>
#include <QString>

namespace zor {

// What the app exports and ZorAgent calls to push changes. One-way: nothing is
// answered.
class ZorAppCallbackProtocol {
public:
    virtual ~ZorAppCallbackProtocol() = default;

    // The JSON of one prompt record.
    virtual void promptAddedWithPromptData(const QByteArray& promptData) = 0;
    // The prompt's UUID text.
    virtual void promptRemovedWithPromptId(const QString& promptId) = 0;
    // The session ended; its prompts stay listed, marked as ended.
    virtual void promptsClearedWithSessionId(const QString& sessionId) = 0;
};

} // namespace zor
