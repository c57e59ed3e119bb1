#include "prompts/PromptAttention.h"

#include "platform/Announcer.h"
#include "platform/IconBadge.h"
#include "platform/Log.h"
#include "platform/MainThread.h"
#include "platform/UserNotifications.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptTitle.h"
#include "prompts/PromptUrl.h"
#include "prompts/WindowPresence.h"

#include <algorithm>
#include <utility>

namespace zor {

namespace {

// Longer texts are cut: a notice shows a few lines at most.
constexpr qsizetype kTitleLimit = 80;
constexpr qsizetype kBodyLimit = 240;

// The agent's text as one plain line: control characters and line breaks
// become spaces, and format characters such as direction overrides go, so
// that it can neither lay out the notice nor pass for the app's own words.
QString cleanText(const QString& text, qsizetype limit) {
    QString clean;
    clean.reserve(std::min(text.size(), limit + 1));
    for (const QChar c : text) {
        switch (c.category()) {
        case QChar::Other_Control:
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            clean += u' ';
            break;
        case QChar::Other_Format:
            break;
        default:
            clean += c;
        }
        if (clean.size() > limit)
            break;
    }
    if (clean.size() <= limit)
        return clean;
    clean.truncate(limit - 1);
    if (clean.back().isHighSurrogate())
        clean.chop(1);
    return clean + u'…';
}

QString describe(const PromptItem& item) {
    return cleanText(promptTitle(item.denial), kTitleLimit) + QStringLiteral(": ") +
           cleanText(item.denial.target(), kBodyLimit);
}

QString countText(qsizetype count) {
    return QStringLiteral("%1 new prompts").arg(count);
}

// While the window's own Deny for the session would be open to the prompt,
// and would reach the agent: a signal's only removes it here, while the agent
// still asks.
bool isDeniable(const PromptItem& item) {
    constexpr PromptDecider::Decision kDeny = PromptDecider::Decision::denySession;
    return PromptDecider::isEnabled(kDeny, item.sessionEnded, false) &&
           PromptDecider::hasRule(item.denial, kDeny);
}

} // namespace

PromptAttention::PromptAttention(PromptStore& store, AttentionServices services,
                                 AttentionActions actions, QObject* parent)
    : QObject(parent)
    , store(store)
    , services(services)
    , actions(std::move(actions)) {
    requireMainThread("PromptAttention");
    connect(&store, &PromptStore::promptsChanged, this, &PromptAttention::countChanged);
    connect(&store, &PromptStore::promptAdded, this, &PromptAttention::promptAdded);
    connect(&store, &PromptStore::promptRemoved, this,
            [this](const PromptItem& item, quint64 seq, const PromptTextHashes&, bool isReplaced) {
                goneIds.insert(item.id);
                replacedSeq = isReplaced ? std::optional(seq) : std::nullopt;
            });
    services.notifications.setActionHandler(
        [this](const QString& link, NoticeAction action) { noticeActed(link, action); });
    showCount();
}

PromptAttention::~PromptAttention() {
    services.notifications.setActionHandler({});
}

void PromptAttention::countChanged() {
    if (services.clock.isPending(countTimer))
        return;
    const Millis since = services.clock.now() - lastCountTime;
    if (since >= kCountInterval)
        showCount();
    else
        countTimer = services.clock.schedule(kCountInterval - since, this, [this] { showCount(); });
}

void PromptAttention::showCount() {
    lastCountTime = services.clock.now();
    const qint64 count = store.prompts().size();
    if (count == shownCount)
        return;
    shownCount = count;
    services.iconBadge.setCount(count);
}

void PromptAttention::promptAdded(const PromptItem& item, quint64 seq) {
    // The user has the request it repeats already, unless that one waits for
    // its notice still.
    if (const std::optional<quint64> replaced = std::exchange(replacedSeq, std::nullopt)) {
        if (!std::binary_search(gathered.cbegin(), gathered.cend(), *replaced))
            return;
    } else if (store.promptCountForId(item.id) > 1 || goneIds.contains(item.id)) {
        // An id met before is held by another prompt still, or has gone
        // since. The store is asked rather than every id kept: a sync adds
        // thousands.
        return;
    }
    gathered.append(seq);
    // From the first arrival on: a steady trickle cannot put the notice off.
    if (!services.clock.isPending(gatherTimer))
        gatherTimer = services.clock.schedule(kGatherWindow, this, [this] { tellUser(); });
}

void PromptAttention::tellUser() {
    // Prompts answered meanwhile are no news. Only the newest is read: a
    // sync gathers thousands.
    long count = 0;
    const PromptItem* newestHeld = nullptr;
    for (const quint64 seq : std::as_const(gathered))
        if (const PromptItem* held = store.promptWithSeq(seq)) {
            ++count;
            newestHeld = held;
        }
    gathered.clear();
    if (!newestHeld)
        return;

    const PromptItem newest = *newestHeld;
    if (services.windowPresence.isInFront()) {
        services.announcer.announce(count == 1 ? describe(newest) : countText(count));
        logger(LogCategory::app).info("Announced new prompts: %ld", {count});
        return;
    }
    // Deny only on a notice that names the one prompt it acts on.
    QList<NoticeAction> buttons;
    if (count == 1 && isDeniable(newest)) {
        buttons.append(NoticeAction::deny);
        denyableIds.insert(newest.id);
    }
    buttons.append(NoticeAction::show);
    // Only what the prompt's row shows: its title and target.
    const UserNotice notice =
        count == 1 ? UserNotice{cleanText(promptTitle(newest.denial), kTitleLimit),
                                cleanText(newest.denial.target(), kBodyLimit), promptUrl(newest.id),
                                buttons}
                   : UserNotice{countText(count), describe(newest), promptUrl(newest.id), buttons};
    services.notifications.post(notice);
    logger(LogCategory::app).info("Notified of new prompts: %ld", {count});
}

void PromptAttention::noticeActed(const QString& link, NoticeAction action) {
    switch (action) {
    case NoticeAction::open:
    case NoticeAction::show:
        actions.openLink(link);
        return;
    case NoticeAction::deny:
        denyFromNotice(link);
        return;
    }
}

void PromptAttention::denyFromNotice(const QString& link) {
    const Logger& log = logger(LogCategory::app);
    const std::optional<QUuid> id = promptIdFromUrl(link);
    // A notice offers Deny once, for the prompt it was posted for.
    if (!id || !denyableIds.remove(*id)) {
        log.info("Ignored Deny on a notification that offered none");
        return;
    }
    const QString idText = id->toString(QUuid::WithoutBraces).toUpper();
    // Answered or replaced under its key since: the notice speaks of a prompt
    // that is no longer there, and nothing else may be denied in its name.
    if (!store.containsPrompt(*id)) {
        log.info("Ignored Deny on a notification: prompt %s is no longer pending", {idText});
        return;
    }
    if (!isDeniable(*store.prompt(*id)) ||
        !actions.decide(*id, PromptDecider::Decision::denySession)) {
        log.info("Ignored Deny on a notification: prompt %s cannot be denied for the session now",
                 {idText});
        return;
    }
    log.info("Denying prompt %s for the session from its notification", {idText});
}

} // namespace zor
