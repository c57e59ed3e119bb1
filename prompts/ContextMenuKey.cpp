#include "prompts/ContextMenuKey.h"

#include <Qt>

namespace zor {

bool isContextMenuKey(int key, int modifiers) {
    // The keypad flag says where a key is, not what the user meant.
    const Qt::KeyboardModifiers pressed = Qt::KeyboardModifiers(modifiers) & ~Qt::KeypadModifier;
    return (key == Qt::Key_Menu && pressed == Qt::NoModifier) ||
           (key == Qt::Key_F10 && pressed == Qt::ShiftModifier);
}

} // namespace zor
