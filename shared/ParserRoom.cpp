#include "shared/ParserRoom.h"

#include <cstring>

namespace zor {

void makeParserRoom(QByteArray& text) {
    if (hasParserRoom(text))
        return;
    const qsizetype size = text.size();
    text.resize(size + kParserRoom);
    std::memset(text.data() + size, 0, size_t(kParserRoom));
    // Shrinking keeps the buffer.
    text.resize(size);
}

} // namespace zor
