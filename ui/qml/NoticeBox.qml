import QtQuick 2.7
import QtQuick.Controls 1.4

// A white panel at the top centre of its parent that fades in and out.
Rectangle {
    id: box
    default property alias content: body.data
    property alias closeName: closeButton.objectName

    anchors.top: parent.top
    anchors.horizontalCenter: parent.horizontalCenter
    color: "white"
    border.width: 1
    border.color: "#111"

    Item {
        id: body
        anchors.fill: parent
    }
    Button {
        id: closeButton
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 20
        text: "Fechar"
        style: backButtonStyle
        onClicked: box.state = "hidden"
    }

    state: "hidden"
    states: [
        State { name: "hidden"; PropertyChanges { target: box; opacity: 0.0; visible: false } },
        State { name: "shown"; PropertyChanges { target: box; opacity: 1.0; visible: true } }
    ]
    transitions: Transition {
        SequentialAnimation {
            PropertyAction { target: box; property: "visible"; value: true }
            NumberAnimation { target: box; property: "opacity"; duration: 750 }
            PropertyAction { target: box; property: "visible" }
        }
    }
}
