#pragma once

#include <QString>

namespace zor {

// The system's general clipboard.
class Clipboard {
public:
    virtual ~Clipboard() = default;
    // Replaces whatever the clipboard held with one plain string.
    virtual void setText(const QString& text) = 0;
};

} // namespace zor
