#pragma once

#include <QtGlobal>

namespace zor {

// The number on the app's icon, in the Dock or in whatever dock or panel shows
// the app's launcher. Main thread only.
class IconBadge {
public:
    virtual ~IconBadge() = default;
    // Zero hides the number.
    virtual void setCount(qint64 count) = 0;
};

} // namespace zor
