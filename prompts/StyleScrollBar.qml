import QtQuick.Controls

// The style's scroll bar, in a file of its own: the lists make it from there,
// after the views that show first, so that naming it does not have the style
// read before them.
ScrollBar {}
