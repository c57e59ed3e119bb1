#pragma once

#include <QByteArray>

namespace zor {

// The bytes after a text's end that the JSON reader may read when it parses
// the text where it is, rather than in a padded copy of its own.
inline constexpr qsizetype kParserRoom = 64;

// Whether `text`'s buffer goes on for the reader's room after its end.
// Counted after the end: capacity() also counts the bytes before the start,
// where bytes taken off the front leave it.
inline bool hasParserRoom(const QByteArray& text) {
    // data_ptr() hands out the array's pointer without detaching; Qt 6.4
    // has no const overload.
    return const_cast<QByteArray&>(text).data_ptr().freeSpaceAtEnd() >= kParserRoom;
}

// Gives `text` that room, keeping its bytes; room it has to make is zeroed,
// room it already has is left as it is. Done by whoever holds a reply before
// it is read, it spares the reader a copy of the whole reply: tens of
// megabytes for a large sync.
void makeParserRoom(QByteArray& text);

} // namespace zor
