#pragma once

#include "platform/IconBadge.h"

namespace zor {

// The badge on the app's Dock tile.
class MacDockBadge final : public IconBadge {
public:
    void setCount(qint64 count) override;
};

} // namespace zor
