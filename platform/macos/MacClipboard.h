#pragma once

#include "platform/Clipboard.h"

namespace zor {

// The general pasteboard.
class MacClipboard final : public Clipboard {
public:
    void setText(const QString& text) override;
};

} // namespace zor
