import QtQuick 2.7

// One of the two authentication-mode buttons of a key group's section. Its
// look follows the model's answer for the group, "selected" or "unselected";
// any other answer names no state here and leaves the base look.
CaptionedIcon {
    id: modeButton
    property string keyGroup
    property string mode

    function refresh() {
        state = certificatesTableModel.getAuthenticationModeButtonState(keyGroup, mode)
    }
    Component.onCompleted: refresh()
    Connections {
        target: certificatesTableModel
        function onAuthModeChanged() { modeButton.refresh() }
    }

    states: [
        State {
            name: "selected"
            PropertyChanges { target: modeButton; opacity: 1.0; captionBold: true }
        },
        State {
            name: "unselected"
            PropertyChanges { target: modeButton; opacity: 0.3; captionBold: false }
        }
    ]
}
