#pragma once

#include <QUrl>

namespace zor {

// The system's file viewer and URL handlers.
class Workspace {
public:
    virtual ~Workspace() = default;
    virtual bool openUrl(const QUrl& url) = 0;
};

} // namespace zor
