#pragma once

#include <QString>

namespace zor {

// Shows the file selected in the desktop's file manager, or at least opens
// its folder. Returns at once.
void showInFileManager(const QString& filePath);

} // namespace zor
