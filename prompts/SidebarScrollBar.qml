import QtQuick.Controls

// The sidebar's scroll bar, in a file of its own so that its style's type is
// read only when the sidebar makes it, after the window's first frame.
ScrollBar {}
