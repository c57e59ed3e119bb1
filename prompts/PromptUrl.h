#pragma once

#include <QString>
#include <QStringView>
#include <QUuid>
#include <optional>

namespace zor {

// Longer texts are not links the app hands out, wherever they come from.
inline constexpr qsizetype kMaxUrlLength = 2048;

// The prompt a zor://prompt/<UUID> link names, judged on the text as it came:
// the scheme exactly "zor", the host exactly "prompt", and a first path
// component that is a UUID in its standard form (no braces, no escapes).
// Further path components, a query and a fragment are ignored.
std::optional<QUuid> promptIdFromUrl(QStringView url);

// Whether the text is a link of any kind: it begins with a scheme and a
// colon, as "zor:" or "https:" does, and an option or a path does not.
bool isLinkText(QStringView text);

// The link to a prompt, as the app hands it out.
QString promptUrl(const QUuid& id);

} // namespace zor
