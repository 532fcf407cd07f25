import QtQuick 2.7
import QtTest 1.1

// A window test on the certificate list, shown as after a registration.
WindowTestCase {
    property var list: null

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
}
