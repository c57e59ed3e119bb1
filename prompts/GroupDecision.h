#pragma once

#include "prompts/PromptDecider.h"

#include <QObject>
#include <QString>
#include <QUuid>

namespace zor {

class PromptStore;

// One decision for many prompts: those of a sidebar group, or those selected
// in the list. It is asked first: the question names the decision, the count
// and the first few targets. Once confirmed, each prompt of the group as it
// was asked gets its own decision through the agent, under the rules for one
// prompt, and the outcome is one line. A prompt that arrives meanwhile is not
// part of it. Main thread only.
class GroupDecision final : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::GroupDecision::State state READ state NOTIFY stateChanged)
    // The question and what it names: "Deny 12 prompts for the session?".
    Q_PROPERTY(QString question READ question NOTIFY stateChanged)
    Q_PROPERTY(QString targets READ targets NOTIFY stateChanged)
    Q_PROPERTY(QString confirmLabel READ confirmLabel NOTIFY stateChanged)
    // An allow is confirmed only by its button, never by Enter alone.
    Q_PROPERTY(bool isAllowing READ isAllowing NOTIFY stateChanged)
    Q_PROPERTY(bool isDenying READ isDenying NOTIFY stateChanged)
    Q_PROPERTY(int doneCount READ doneCount NOTIFY progressChanged)
    Q_PROPERTY(int sentCount READ sentCount NOTIFY progressChanged)
    // Progress shows for groups of more than 20.
    Q_PROPERTY(bool showsProgress READ showsProgress NOTIFY stateChanged)
    // The last group's outcome, "Denied 37 prompts, 3 skipped: session ended",
    // until the next is confirmed.
    Q_PROPERTY(QString outcome READ outcome NOTIFY outcomeChanged)

public:
    enum class State { idle, asking, deciding };
    Q_ENUM(State)
    // The five decisions of a row, and the dismissal.
    enum class Action { allowOnce, allowSession, allowAlways, denySession, denyAlways, dismiss };
    Q_ENUM(Action)

    static constexpr int kProgressAbove = 20;
    static constexpr int kTargetsNamed = 3;

    GroupDecision(PromptStore& store, PromptDecider& decider, QObject* parent = nullptr);

    State state() const { return currentState; }
    QString question() const;
    QString targets() const;
    QString confirmLabel() const;
    bool isAllowing() const;
    bool isDenying() const;
    int doneCount() const { return done; }
    int sentCount() const { return sent; }
    bool showsProgress() const { return int(group.size()) > kProgressAbove; }
    QString outcome() const { return lastOutcome; }

    // Asks before deciding the prompts with these ids, in list order; nothing
    // while another group is asked or underway, or for an empty group.
    bool ask(Action action, const QList<QUuid>& ids);
    Q_INVOKABLE void confirm();
    // Enter confirms a deny or a dismissal; an allow only its button does.
    Q_INVOKABLE void confirmWithEnter();
    Q_INVOKABLE void cancel();
    Q_INVOKABLE void clearOutcome();

    // The ids the last confirmed group sent, in order: for tests and logs.
    QList<QUuid> sentIds() const { return sentGroup; }

signals:
    void stateChanged();
    void progressChanged();
    void outcomeChanged();

private:
    // Why a prompt of the group gets nothing.
    enum class Skip { none, sessionEnded, gone, underway, noRule };
    struct Skipped {
        int ended = 0;
        int gone = 0;
        int underway = 0;
        int noRule = 0;

        void count(Skip skip);
        // "2 skipped: session ended", for each reason met.
        QStringList texts() const;
    };

    Skip skipOf(const QUuid& id) const;
    void finishOne(bool isTaken);
    void finish();
    void setState(State state);

    PromptStore& store;
    PromptDecider& decider;
    State currentState = State::idle;
    Action action = Action::denySession;
    QList<QUuid> group;
    QStringList namedTargets;
    int askedCount = 0;
    Skipped skippedWhenAsked;
    QList<QUuid> sentGroup;
    bool isSending = false;
    int sent = 0;
    int done = 0;
    int failed = 0;
    Skipped skipped;
    QString lastOutcome;
};

// What an action is called where the user reads it.
struct GroupActionText {
    const char* verb;     // "Deny"
    const char* past;     // "Denied"
    const char* lifetime; // " for the session", "" for none
};
GroupActionText groupActionText(GroupDecision::Action action);

} // namespace zor
