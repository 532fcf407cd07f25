import QtQuick 2.7
import QtQuick.Controls 1.4
import QtQuick.Controls.Styles 1.4
import QtQuick.Window 2.2

Window {
    id: main
    width: 1000
    height: 600
    visible: true

    property color titleColor: "#000000"
    property color subtitleColor: "#000000"
    property color descriptionTextColor: "#000000"
    property color subtitleTextColor: "#ffffff"
    property color subtitleTextColor2: "#000000"

    // Open Sans faces from the resource tree, so the look does not depend on
    // the fonts installed on the user's machine.
    FontLoader { source: "fonts/OpenSans-Bold.ttf" }
    FontLoader { source: "fonts/OpenSans-BoldItalic.ttf" }
    FontLoader { source: "fonts/OpenSans-ExtraBold.ttf" }
    FontLoader { source: "fonts/OpenSans-ExtraBoldItalic.ttf" }
    FontLoader { source: "fonts/OpenSans-Italic.ttf" }
    FontLoader { source: "fonts/OpenSans-Light.ttf" }
    FontLoader { source: "fonts/OpenSans-LightItalic.ttf" }
    FontLoader { source: "fonts/OpenSans-Regular.ttf" }
    FontLoader { source: "fonts/OpenSans-Semibold.ttf" }
    FontLoader { source: "fonts/OpenSans-SemiboldItalic.ttf" }
    FontLoader { source: "fonts/OpenSansCondensed-Bold.ttf" }
    FontLoader { source: "fonts/OpenSansCondensed-Light.ttf" }

    property Component buttonStyle: ButtonStyle {
        background: Rectangle {
            implicitHeight: 36
            implicitWidth: Math.max(120, 32 + labelMetrics.width)
            radius: 8
            border.width: 2
            border.color: "#7030C5"
            color: !control.enabled ? "#efefef" : (control.pressed ? "#7030C5" : "#F5F5F5")
            TextMetrics {
                id: labelMetrics
                font.family: "Open Sans"
                font.bold: true
                font.pixelSize: 15
                text: control.text
            }
        }
        label: Item {
            implicitWidth: labelRow.implicitWidth
            implicitHeight: labelRow.implicitHeight
            Row {
                id: labelRow
                anchors.centerIn: parent
                spacing: 5
                Image {
                    anchors.verticalCenter: parent.verticalCenter
                    source: control.iconSource
                    visible: source != ""
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: control.text
                    font.family: "Open Sans"
                    font.bold: true
                    font.pixelSize: 15
                    color: control.pressed ? "#F5F5F5" : "#7030C5"
                }
            }
        }
    }
    property Component primaryButtonStyle: buttonStyle

    property Component backButtonStyle: ButtonStyle {
        background: Rectangle {
            implicitHeight: 36
            implicitWidth: Math.max(120, 32 + backLabelMetrics.width)
            radius: 8
            border.width: 2
            border.color: "#7030C5"
            color: !control.enabled ? "#efefef" : (control.pressed ? "#7030C5" : "#F5F5F5")
            TextMetrics {
                id: backLabelMetrics
                font.family: "Open Sans"
                font.bold: true
                font.pixelSize: 15
                text: control.text
            }
        }
        label: Text {
            text: control.text
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            font.family: "Open Sans"
            font.bold: true
            font.pixelSize: 15
            color: control.pressed ? "#F5F5F5" : "#7030C5"
        }
    }
    property Component secondaryButtonStyle: backButtonStyle

    property Component radioButtonStyle: RadioButtonStyle {
        indicator: Rectangle {
            implicitWidth: 16
            implicitHeight: 16
            radius: 9
            border.width: 1
            border.color: control.activeFocus ? "darkblue" : "gray"
            Rectangle {
                anchors.fill: parent
                anchors.margins: 4
                radius: 9
                color: "#555"
                visible: control.checked
            }
        }
    }

    property Component textFieldStyle: TextFieldStyle {
        textColor: "#222"
        font.family: "Open Sans"
        font.pixelSize: 18
        background: Rectangle {
            radius: 4
            border.width: 1
            border.color: control.enabled ? "#ccc" : "#777"
            color: control.enabled ? "white" : "#ddd"
        }
    }

    property Component textFieldErrorStyle: TextFieldStyle {
        textColor: "#aaa"
        font.family: "Open Sans"
        font.pixelSize: 18
        background: Rectangle {
            radius: 10
            border.width: 1
            border.color: "red"
        }
    }

    Item {
        id: header
        objectName: "header"
        anchors.top: parent.top
        anchors.left: parent.left
        anchors.right: parent.right
        height: 120
        z: 10000

        Image {
            anchors.fill: parent
            source: "images/barra_topo.png"
        }
        Image {
            id: companyLogo
            anchors.left: parent.left
            anchors.leftMargin: 21
            anchors.verticalCenter: parent.verticalCenter
            anchors.verticalCenterOffset: -10
            height: 44
            fillMode: Image.PreserveAspectFit
            source: "images/logo_valmora.png"
        }
        Image {
            id: informationIcon
            objectName: "informationIcon"
            anchors.right: parent.right
            anchors.rightMargin: 20
            anchors.verticalCenter: companyLogo.verticalCenter
            width: 32
            height: 32
            source: "images/info.png"
            MouseArea {
                anchors.fill: parent
                cursorShape: Qt.PointingHandCursor
                onClicked: aboutBox.state = aboutBox.state === "on" ? "off" : "on"
            }
        }
        Image {
            id: productLogo
            anchors.right: informationIcon.left
            anchors.rightMargin: 10
            anchors.verticalCenter: companyLogo.verticalCenter
            height: 56
            fillMode: Image.PreserveAspectFit
            source: "images/logo_orvane.png"
        }
        Text {
            id: offlineBanner
            objectName: "offlineBanner"
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 4
            text: "Orvane está offline"
            font.family: "Open Sans Light"
            font.bold: true
            font.pixelSize: 18
            color: "#F78700"
            visible: verificationConnectionServer.isOffLine
        }
    }

    Image {
        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        source: "images/fundo_sem_borda.jpg"
        fillMode: Image.PreserveAspectCrop
        clip: true
        z: -10
    }

    Item {
        id: screenArea
        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.topMargin: 10
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        anchors.bottomMargin: 30

        CertificateList {
            objectName: "certificateList"
            anchors.fill: parent
            visible: installationModel.hasAnInstallation
        }
        Registration {
            objectName: "registration"
            anchors.fill: parent
            visible: !installationModel.hasAnInstallation
        }
    }

    Image {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        height: 75
        source: "images/barra_laranja.png"
        fillMode: Image.PreserveAspectCrop
        z: -5
    }

    ModalWindow {
        id: aboutBox
        objectName: "aboutBox"
        anchors.top: header.bottom
        anchors.topMargin: -5
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: 120
        anchors.rightMargin: 120
        height: 250
        state: "off"

        Text {
            id: aboutTitle
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.top: parent.top
            anchors.topMargin: 40
            text: "Orvane"
            font.family: "Open Sans Semibold"
            font.pixelSize: 32
        }
        Text {
            id: aboutVersion
            objectName: "aboutVersion"
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.top: aboutTitle.bottom
            anchors.topMargin: 14
            text: "Versão: " + versionVerifier.currentVersion
            font.family: "Open Sans"
            font.pixelSize: 16
        }
        Button {
            objectName: "aboutClose"
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.top: aboutVersion.bottom
            anchors.topMargin: 30
            text: "Fechar"
            style: backButtonStyle
            onClicked: aboutBox.state = "off"
        }
    }
}
