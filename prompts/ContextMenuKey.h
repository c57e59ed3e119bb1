#pragma once

namespace zor {

// The keys that open the context menu of what has the keyboard: the menu
// key, or Shift+F10 where the keyboard has none.
bool isContextMenuKey(int key, int modifiers);

} // namespace zor
