#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSet>
#include <optional>

namespace zor {

// A JSON array's text with each well-formed number the reader cannot hold
// (an integer beyond 64 bits, a magnitude beyond a double's) written as
// null in its place, and the elements of the array that held one. The
// reader refuses such a text as a whole; with them set aside, the rest of
// the array can be read.
struct OutOfRangeNumbers {
    QByteArray text;
    QSet<qsizetype> elements;
};

// Nothing when the text holds no such number.
std::optional<OutOfRangeNumbers> nullOutOfRangeNumbers(QByteArrayView arrayText);

} // namespace zor
