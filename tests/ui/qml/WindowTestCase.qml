import QtQuick 2.7
import QtTest 1.1

// A test case over a fresh main window, with its items found by objectName.
TestCase {
    when: windowShown

    property var window: null
    property var list: null

    // The first item of that name under `within` (the window by default).
    function item(name, within) {
        var found = findChild(within ? within : window.contentItem, name)
        verify(found !== null, "no item named " + name)
        return found
    }

    // The certificate list, shown as after a registration.
    function showList() {
        if (!list) {
            item("registration").visible = false
            list = item("certificateList")
            list.visible = true
        }
        return list
    }

    // Waits until a sliding frame has come fully down or gone.
    function waitForFrame(name, state) {
        var frame = item(name)
        frame.state = state
        tryCompare(frame.children[0], "y", state === "on" ? 0 : -frame.height)
        return frame
    }

    function outcome(viewName) {
        return item("outcomeText", item(viewName))
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
