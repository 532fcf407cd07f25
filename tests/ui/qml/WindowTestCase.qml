import QtQuick 2.7
import QtTest 1.1

// A test case over a fresh main window, with its items found by objectName.
TestCase {
    when: windowShown

    property var window: null

    function findChild(item, name) {
        if (!item)
            return null
        if (item.objectName === name)
            return item
        var children = item.children !== undefined ? item.children : []
        for (var i = 0; i < children.length; ++i) {
            var found = findChild(children[i], name)
            if (found)
                return found
        }
        return null
    }

    // The first item of that name under `within` (the window by default).
    function item(name, within) {
        var found = findChild(within ? within : window.contentItem, name)
        verify(found !== null, "no item named " + name)
        return found
    }

    function initTestCase() {
        var component = Qt.createComponent("qrc:/main.qml")
        compare(component.status, Component.Ready, component.errorString())
        window = component.createObject(null)
        verify(window !== null)
        tryCompare(window, "visible", true)
        waitForRendering(window.contentItem)
        // The models outlive each window: start every window online.
        verificationConnectionServer.setOffLine(false)
    }

    function cleanupTestCase() {
        window.destroy()
    }
}
