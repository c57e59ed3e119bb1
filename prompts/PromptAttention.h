#pragma once

#include "platform/Clock.h"
#include "platform/UserNotifications.h"
#include "prompts/PromptDecider.h"
#include "prompts/RecentIds.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QUuid>
#include <functional>
#include <optional>

namespace zor {

class Announcer;
class IconBadge;
class PromptStore;
class WindowPresence;
struct PromptItem;

struct AttentionServices {
    Clock& clock;
    IconBadge& iconBadge;
    UserNotifications& notifications;
    Announcer& announcer;
    WindowPresence& windowPresence;
};

// What the user's answers to a notice act through.
struct AttentionActions {
    // Opens a zor://prompt/ link as any link to the app is opened.
    std::function<void(const QString& link)> openLink;
    // Takes a decision on a prompt as the window's buttons do; false when
    // nothing was done.
    std::function<bool(const QUuid& id, PromptDecider::Decision decision)> decide;
};

// Draws the user to pending prompts: their count on the app's icon, and for
// new ones a notification while the window is not in front, or else a
// screen-reader announcement. A burst of prompts makes one of either. The
// notice of one prompt offers to deny it for the session, never to allow it.
// Main thread only; must not outlive the store.
class PromptAttention final : public QObject {
    Q_OBJECT

public:
    // The icon's count changes at most this often while prompts pour in.
    static constexpr Millis kCountInterval{250};
    // New prompts are gathered this long from the first before the user hears of them.
    static constexpr Millis kGatherWindow{1000};
    // At least this many of the ids that left the store are remembered.
    static constexpr qsizetype kGoneIdsKept = 65536;
    // At least this many of the latest notices that offer Deny keep it.
    static constexpr qsizetype kDenyableKept = 1024;

    PromptAttention(PromptStore& store, AttentionServices services, AttentionActions actions,
                    QObject* parent = nullptr);
    ~PromptAttention() override;

private:
    void countChanged();
    void showCount();
    void promptAdded(const PromptItem& item, quint64 seq);
    void tellUser();
    void noticeActed(const QString& link, NoticeAction action);
    void denyFromNotice(const QString& link);

    PromptStore& store;
    AttentionServices services;
    AttentionActions actions;
    // Ids that left the store lately. With those it holds, the ids this
    // process has met: a resync adds them again, but they are not new.
    RecentIds goneIds{kGoneIdsKept};
    // Of the prompt that the one being added replaces under its key: the
    // replacement is news only while the prompt it replaces is. A resync
    // replaces each prompt it adds again, under a fresh id where the agent's
    // is not a UUID.
    std::optional<quint64> replacedSeq;
    // The sequence numbers of the prompts new since the last notice, in
    // order of arrival, which is theirs.
    QList<quint64> gathered;
    // Prompts whose notice offers Deny, until it is used: those of the
    // latest notices, since notices stay on screen for as long as the user
    // leaves them, and a notice server keeps answering only for its latest.
    RecentIds denyableIds{kDenyableKept};
    Clock::TimerId gatherTimer = 0;
    Clock::TimerId countTimer = 0;
    Millis lastCountTime{0};
    std::optional<qint64> shownCount;
};

} // namespace zor
