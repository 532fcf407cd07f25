import QtQuick 2.7
import QtQuick.Controls 1.4

// Header of one key group in the certificate list: the group's icon and
// name, and, while the pointer is over it, its mode and unregister controls.
Rectangle {
    id: band
    property string keyGroup
    property bool isEditing: false
    readonly property bool smartphone: certificatesTableModel.groupTypeFor(keyGroup) === "SMARTPHONE"
    height: 50
    color: "#F9F5FF"

    MouseArea {
        id: hover
        objectName: "sectionHover"
        anchors.fill: parent
        hoverEnabled: true

        Image {
            id: groupIcon
            anchors.left: parent.left
            anchors.leftMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            width: 38
            height: 38
            source: band.smartphone ? (hover.containsMouse ? "images/celular_laranja.png" : "images/celular_azul.png")
                                    : (hover.containsMouse ? "images/nuvem_laranja.png" : "images/nuvem_azul.png")
        }
        Text {
            id: groupName
            objectName: "sectionName"
            anchors.left: groupIcon.right
            anchors.leftMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            visible: !band.isEditing
            text: band.keyGroup
            font.family: "Open Sans"
            font.bold: true
            font.pixelSize: 14
        }
        // Ready for renaming a phone in place; nothing opens it yet. Made
        // only while editing, so a long list does not build a field per
        // section at start.
        Loader {
            anchors.left: groupIcon.right
            anchors.leftMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            active: band.isEditing
            sourceComponent: TextField {
                objectName: "sectionLocalName"
                width: 300
                text: band.keyGroup
                style: textFieldStyle
                onAccepted: {
                    if (text.length > 0)
                        certificatesTableModel.replaceLocalKeyGroupName(band.keyGroup, text)
                    else
                        text = band.keyGroup
                    band.isEditing = false
                }
            }
        }

        Row {
            id: groupControls
            objectName: "sectionControls"
            anchors.right: parent.right
            anchors.rightMargin: 30
            anchors.verticalCenter: parent.verticalCenter
            spacing: 20
            state: hover.containsMouse ? "displayedSubtitles" : "hiddenSubtitles"

            ModeButton {
                objectName: "pushModeButton"
                anchors.verticalCenter: parent.verticalCenter
                keyGroup: band.keyGroup
                mode: "push"
                caption: "Push"
                iconSource: "images/push.png"
                onClicked: certificatesTableModel.changeAuthenticationMode(band.keyGroup, "push")
            }
            ModeButton {
                objectName: "localModeButton"
                anchors.verticalCenter: parent.verticalCenter
                keyGroup: band.keyGroup
                mode: "local"
                caption: "Local"
                iconSource: "images/local.png"
                iconWidth: 48
                onClicked: certificatesTableModel.changeAuthenticationMode(band.keyGroup, "local")
            }
            CaptionedIcon {
                objectName: "unregisterGroupButton"
                anchors.verticalCenter: parent.verticalCenter
                width: 60
                iconSource: "images/descadastrar.png"
                iconWidth: 22
                iconHeight: 22
                caption: "Descadastrar"
                captionColor: subtitleTextColor
                captionBackground: "#7030C5"
                onClicked: {
                    certificatesTableModel.prepareToUnregisterKeyGroup(band.keyGroup)
                    unregisterCurrentStep = 0
                    unregisterKeyGroupFrame.state = "on"
                }
            }

            states: [
                State { name: "displayedSubtitles"; PropertyChanges { target: groupControls; opacity: 1.0 } },
                State { name: "hiddenSubtitles"; PropertyChanges { target: groupControls; opacity: 0.0 } }
            ]
            transitions: [
                Transition {
                    to: "displayedSubtitles"
                    NumberAnimation { property: "opacity"; duration: 500; easing.type: Easing.OutCirc }
                },
                Transition {
                    to: "hiddenSubtitles"
                    NumberAnimation { property: "opacity"; duration: 2000; easing.type: Easing.InCirc }
                }
            ]
        }
    }
}
