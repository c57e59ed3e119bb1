#pragma once

#include <QString>

namespace zor {

// Has screen readers speak a text politely, after what they are saying now.
// Main thread only.
class Announcer {
public:
    virtual ~Announcer() = default;
    virtual void announce(const QString& text) = 0;
};

} // namespace zor
