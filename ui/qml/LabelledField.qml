import QtQuick 2.7
import QtQuick.Controls 1.4

// A caption over a text field.
Column {
    id: labelled
    property alias label: caption.text
    property alias fieldName: input.objectName
    property alias text: input.text
    property alias echoMode: input.echoMode
    property int fieldWidth: 350
    signal accepted()
    signal focusLost()
    spacing: 4

    function focusField() { input.forceActiveFocus() }

    Text {
        id: caption
        font.family: "Open Sans"
        font.pixelSize: 16
        color: descriptionTextColor
    }
    TextField {
        id: input
        width: labelled.fieldWidth
        style: textFieldStyle
        onAccepted: labelled.accepted()
        onActiveFocusChanged: if (!activeFocus) labelled.focusLost()
    }
}
