import QtQuick 2.7

// A panel that slides down into its frame ("on") and back up out of sight
// ("off"); while shown it swallows every click meant for what lies beneath.
Item {
    id: frame
    clip: true
    default property alias content: blocker.data

    Rectangle {
        id: panel
        width: frame.width
        height: frame.height
        y: -frame.height
        // Fully retracted, the panel leaves the focus chain, so Tab never
        // lands on a field of a frame that is out of sight.
        visible: y > -frame.height
        color: "#E0FFFFFF"
        border.width: 1
        border.color: "#CCC"

        MouseArea {
            id: blocker
            anchors.fill: parent
            enabled: false
        }
    }

    state: "off"
    states: [
        State {
            name: "off"
            PropertyChanges { target: panel; y: -frame.height }
            PropertyChanges { target: blocker; enabled: false }
        },
        State {
            name: "on"
            PropertyChanges { target: panel; y: 0 }
            PropertyChanges { target: blocker; enabled: true }
        }
    ]
    transitions: [
        Transition {
            NumberAnimation { target: panel; property: "y"; duration: 500; easing.type: Easing.OutQuad }
        }
    ]
}
