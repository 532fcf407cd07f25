import QtQuick 2.7
import QtQuick.Controls 1.4

// First page of the addition frame: where the certificate to add lives.
Item {
    PageTitle { id: title; text: "Adicionar Certificado" }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        text: "Onde está seu certificado?"
    }
    Row {
        id: cards
        anchors.top: subtitle.bottom
        anchors.topMargin: 20
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 20
        InfoCard {
            objectName: "kestrelCard"
            clickable: true
            iconSource: "images/kestrel.png"
            text: "kestrel"
            textSize: 12
            textBold: true
            textColor: "gray"
            onClicked: currentStep = 1
        }
        InfoCard {
            objectName: "harrierCard"
            clickable: true
            iconSource: "images/harrier.png"
            text: "harrier"
            textSize: 12
            textBold: true
            textColor: "gray"
            onClicked: currentStep = 11
        }
    }
    Button {
        objectName: "pickerBackButton"
        anchors.top: cards.bottom
        anchors.topMargin: 20
        anchors.horizontalCenter: parent.horizontalCenter
        text: "Voltar"
        style: backButtonStyle
        onClicked: {
            additionFormFrame.state = "off"
            registrationModel.resetThisModel()
        }
    }
}
