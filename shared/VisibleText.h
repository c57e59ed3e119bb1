#pragma once

#include <QString>
#include <optional>

namespace zor {

// Text from the agent as the screen shows it. Every character that would
// break the line, or steer the order or the look of the text around it while
// showing nothing itself (control, format and separator characters, bidi
// overrides among them), stands as its visible escape: "\n", "\u{202e}". So
// the text the user reads is the text they decide on. Text with none of them,
// as nearly all is, comes back as it is, without a copy.
QString visibleText(const QString& text);

// visibleText, read left to right as the rest of the window. A text with
// right-to-left letters starts with a LEFT-TO-RIGHT MARK, and one follows
// each '/': without them the bidi algorithm runs neighbouring right-to-left
// components of a path together and shows them in reverse, so that the user
// would read another path. With them each component keeps the place it has
// in the text, and its own letters read as their script does. The marks are
// the screen's: what is copied or logged is the text itself, and the agent's
// own marks were already shown as escapes. Text without right-to-left
// letters is visibleText's.
QString displayText(const QString& text);

// Where a text longer than `head` and `tail` characters and one more is cut
// to show its start and its end: the end of its head and the start of its
// tail, neither splitting a character. None for a text short enough to show
// whole.
struct MiddleCut {
    qsizetype headEnd;
    qsizetype tailStart;
};
std::optional<MiddleCut> middleCut(QStringView text, qsizetype head, qsizetype tail);

} // namespace zor
