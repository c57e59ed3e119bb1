#pragma once

#include "prompts/GroupDecision.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptFilter.h"
#include "prompts/ScrollRequest.h"

#include <QObject>
#include <QPointF>
#include <QUuid>
#include <optional>

namespace zor {

class PromptListModel;
class PromptStore;

// The behaviour of the prompt list: what it shows when empty, the highlight
// (the store's highlightedPromptId) and the selection around it, keyboard
// commands on the highlighted prompt, or on the selection as a group,
// delete-to-dismiss, the search and scrolling. Main thread only.
//
// It acts on the list only after the list model's updated(), when every view
// of the model holds the same rows, and it names prompts by id: a row number
// is good only for the moment it was read.
class PromptsViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::PromptsViewModel::ContentState contentState READ contentState NOTIFY
                   contentStateChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY contentStateChanged)
    Q_PROPERTY(QString emptyMessage READ emptyMessage NOTIFY contentStateChanged)
    Q_PROPERTY(
        bool isListFocused READ isListFocused WRITE setListFocused NOTIFY isListFocusedChanged)
    Q_PROPERTY(
        zor::ScrollRequest scrollRequest READ scrollRequestOrNone NOTIFY scrollRequestChanged)
    // The row of the requested prompt when the request was made, or when the
    // list was made after it; -1 when not shown.
    Q_PROPERTY(int scrollRequestRow READ scrollRequestRow NOTIFY scrollRequestChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectedCountChanged)
    // Among more selected rows, the highlighted one is marked apart: Shift
    // reaches out from it, and the menu key opens its menu.
    Q_PROPERTY(bool marksHighlight READ marksHighlight NOTIFY selectedCountChanged)
    // The prompt that the decision keys decide: the highlighted one, unless
    // more are selected and the keys ask about them all. Its row alone names
    // the keys. Empty when there is none.
    Q_PROPERTY(QString keysTargetId READ keysTargetId NOTIFY keysTargetIdChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)

public:
    enum class ContentState {
        list,
        noPendingPrompts,
        noPromptsMatchingFilter,
        noPromptsMatchingSearch
    };
    Q_ENUM(ContentState)

    // A click on a row alone, with Ctrl (Cmd on macOS), or with Shift.
    enum class Click { only, toggle, extend };
    Q_ENUM(Click)

    static constexpr QPointF kTopAnchor{0.5, 0.0};

    PromptsViewModel(PromptStore& store, PromptListModel& listModel, PromptDecider& decider,
                     GroupDecision& group, QObject* parent = nullptr);

    ContentState contentState() const { return state; }
    QString emptyTitle() const;
    QString emptyMessage() const;
    bool isListFocused() const { return isFocused; }
    void setListFocused(bool isFocused);
    std::optional<ScrollRequest> scrollRequest() const { return lastScrollRequest; }
    ScrollRequest scrollRequestOrNone() const {
        return lastScrollRequest.value_or(ScrollRequest{});
    }
    int scrollRequestRow() const { return scrollRow; }
    // The row the user sees highlighted; -1 when none.
    int highlightedRow() const;
    int selectedCount() const;
    QString keysTargetId() const { return keysTarget; }
    bool marksHighlight() const { return shownSelectedCount > 1; }
    QString searchText() const;
    void setSearchText(const QString& text);

    // A click on the row showing that prompt: it alone is selected and
    // highlighted, or toggled in the selection, or the selection reaches it
    // from where the last click left it.
    Q_INVOKABLE void clickPrompt(const QString& promptId, zor::PromptsViewModel::Click click);
    // Keys pressed while the list has focus: the arrows, Home, End, Page Up
    // and Page Down move the highlight, with Shift they reach the selection
    // along; Delete and Backspace dismiss; the menu key asks for the
    // highlighted prompt's context menu. True when the key was one of them.
    // The rows at the top and bottom edges of the list's view measure a
    // page; -1 where no row is.
    Q_INVOKABLE bool handleListKey(int key, int modifiers, int topShownRow = -1,
                                   int bottomShownRow = -1);
    // On the highlighted prompt, or, when more are selected, on all of them
    // as a group, asked first.
    Q_INVOKABLE bool decideHighlighted(zor::PromptDecider::Decision decision);
    // The highlighted prompt goes at once, or the selection, asked first.
    // Nothing while a decision on the prompt is underway.
    void dismissHighlighted();
    Q_INVOKABLE void decideSelection(zor::GroupDecision::Action action);
    Q_INVOKABLE void clearSelection();
    // Escape in the search field: the search is cleared, and the list, where
    // it shows, takes the keys.
    Q_INVOKABLE void clearSearch();
    void requestScroll(const QUuid& id, QPointF anchor);
    // The list's view is made, after the window's first frame: the keyboard
    // and a scroll asked before then, by a link given at launch, are asked
    // again of it.
    Q_INVOKABLE void listMade();
    // The list's width changed: its rows wrap anew, and a row brought into
    // view may have moved. Until the user moves the list, by hand or by the
    // keys, the last scroll request is served again.
    Q_INVOKABLE void listResized();
    Q_INVOKABLE void listMovedByUser();
    // The row at the top of the view and how far below the top it starts,
    // as rows come at the head: it is kept there (see rowsComingAtHead).
    Q_INVOKABLE void holdTopRow(int row, qreal offset);

signals:
    void contentStateChanged();
    void isListFocusedChanged();
    void scrollRequestChanged();
    void selectedCountChanged();
    void keysTargetIdChanged();
    void searchTextChanged();
    // The arrow keys moved the highlight to this row: it must be in view.
    void keepRowInView(int row);
    // A scroll request's row, to bring to the top of the view: the first row,
    // where new arrivals come, or another one, which the view may have to make
    // its neighbours for before it knows where the row lies.
    void showFirstRow();
    void bringRowToTop(int row);
    // The context menu of the prompt in this row, from the keyboard: for
    // its policy file and session.
    void rowMenuRequested(int row, const QString& policyPath, const QString& sessionId);
    // While a prompt is highlighted, rows arriving at the head must not move
    // what the view shows: at its top a list view would show them and push
    // the rest down, the highlighted row with them. The view answers with
    // holdTopRow(), and is told where that row goes with keepRowAt().
    void rowsComingAtHead();
    void keepRowAt(int row, qreal offset);

private:
    // What the user saw highlighted at the last update.
    struct ShownHighlight {
        QUuid id;
        quint64 seq;
        // Its going would be the user's own act: a decision or dismissal was
        // underway, and no duplicate has replaced it since.
        bool isGoingByUser;
        PromptFilter filter;
    };

    void update();
    // Holds the updates for the user's move; the one it owes comes when the
    // returned guard goes.
    auto moveSelection();
    void moveHighlight(int delta, bool isExtending);
    // Highlights the row, reaching the selection out to it with Shift.
    void highlightAt(int row, bool isExtending);
    // To the row at the view's edge, or a page on from there.
    void movePage(int direction, bool isExtending, int topShownRow, int bottomShownRow);
    void highlightRow(int row);
    // Selects the prompts from the anchor's row to `row`.
    void selectRange(int row);
    enum class Distance { nearest, farthest };
    // The selected prompt nearest to the row, or farthest from it; none when
    // nothing is selected.
    std::optional<QUuid> selectedByDistance(int row, Distance distance) const;
    void followSelection();
    // Asks the view to bring the last request's row, as last found, into view.
    void scrollToRequest();
    // The same, the row found anew.
    void serveScrollRequestAgain();

    PromptStore& store;
    PromptListModel& listModel;
    PromptDecider& decider;
    GroupDecision& group;
    ContentState state = ContentState::noPendingPrompts;
    // Where a selection reaching out with Shift starts.
    std::optional<QUuid> anchor;
    // The user's move changes the selection, then the highlight: the list's
    // updates in between wait until both are done.
    bool isMovingSelection = false;
    int shownSelectedCount = 0;
    QString keysTarget;
    bool isFocused = false;
    // A link came while a group's question was open: the list takes the
    // focus once the question closes.
    bool isFocusOwed = false;
    std::optional<ShownHighlight> shownHighlight;
    // The highlighted prompt while the filter or the search hides it, and
    // the filter it was hidden under.
    struct HiddenHighlight {
        QUuid id;
        quint64 seq;
        PromptFilter filter;
    };
    std::optional<HiddenHighlight> hiddenHighlight;
    std::optional<QUuid> firstId;
    // The prompt at the top of the view while rows come at the head, and
    // how far below the top it starts.
    struct HeldTopRow {
        quint64 seq;
        qreal offset;
    };
    std::optional<HeldTopRow> heldTopRow;
    std::optional<ScrollRequest> lastScrollRequest;
    bool isScrollRequestHeld = false;
    qint64 scrollGeneration = 0;
    int scrollRow = -1;
};

// The title and line of an empty list; empty texts for the list itself.
struct EmptyStateText {
    const char* title;
    const char* message;
};
EmptyStateText emptyStateText(PromptsViewModel::ContentState state);

} // namespace zor
