#pragma once

#include "prompts/PromptsSidebarModel.h"

#include <QObject>
#include <QString>

namespace zor {

class AppState;

// The sidebar's entries by policy file and by session, and which of the two
// the selected tab shows: the sessions' on the sessions tab, the policies'
// on the others. The one not shown does not follow the store.
class SidebarModels : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::PromptsSidebarModel* shown READ shown NOTIFY shownChanged)
    // What the shown entries are, for assistive tools.
    Q_PROPERTY(QString shownTitle READ shownTitle NOTIFY shownChanged)

public:
    explicit SidebarModels(AppState& appState, QObject* parent = nullptr);

    PromptsSidebarModel* shown() const { return isSessionsShown ? sessions : policies; }
    QString shownTitle() const;

signals:
    void shownChanged();

private:
    void followTab();

    AppState& appState;
    PromptsSidebarModel* policies;
    PromptsSidebarModel* sessions;
    bool isSessionsShown = false;
};

} // namespace zor
