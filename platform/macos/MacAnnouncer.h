#pragma once

#include "platform/Announcer.h"

namespace zor {

// VoiceOver's announcement request, at medium priority so that it waits for
// what is being spoken.
class MacAnnouncer final : public Announcer {
public:
    void announce(const QString& text) override;
};

} // namespace zor
