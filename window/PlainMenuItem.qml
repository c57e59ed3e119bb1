import QtQuick.Controls

// A menu item that neither checks nor opens a submenu, as all of the app's
// are: it makes no check mark or arrow, images that each open menu would
// otherwise hold, and that Qt 6.4 leaves behind when the window goes.
MenuItem {
    indicator: null
    arrow: null
}
