import QtQuick

// A menu made, from its own file, the first time it opens: a window's menus
// open rarely, and making them, or even reading their types, would cost the
// first frame.
Loader {
    id: loader

    // The file of the Menu, and its initial properties.
    required property url menu
    property var menuProperties: ({})

    active: false

    function open() {
        make();
        item.open();
    }

    function popup(parentItem, x, y) {
        make();
        item.popup(parentItem, x, y);
    }

    function make() {
        if (!item)
            setSource(menu, menuProperties);
        active = true;
    }
}
