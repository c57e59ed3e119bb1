#pragma once

#include <QString>

namespace zor {

// Text from the agent as the screen shows it. Every character that would
// break the line, or steer the order or the look of the text around it while
// showing nothing itself (control, format and separator characters, bidi
// overrides among them), stands as its visible escape: "\n", "\u{202e}". So
// the text the user reads is the text they decide on. Text with none of them,
// as nearly all is, comes back as it is, without a copy.
QString visibleText(const QString& text);

} // namespace zor
