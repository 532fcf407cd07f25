import QtQuick 2.7
import QtQuick.Controls 1.4

// Asks before a phone or a cloud account leaves this computer.
Item {
    id: step
    readonly property bool smartphone: keyGroupToBeUnregisteredModel.keyGroupType === "SMARTPHONE"
    signal nextCalled()
    signal cancelFlow()

    PageTitle { id: title; text: "Atenção!" }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        text: step.smartphone ? "Deseja <b>descadastrar</b> o seguinte dispositivo?"
                              : "Deseja <b>descadastrar</b> a seguinte conta?"
    }
    Column {
        anchors.top: subtitle.bottom
        anchors.topMargin: 30
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: parent.width / 5
        anchors.rightMargin: parent.width / 5
        spacing: 20

        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 10
            Image {
                width: 38
                height: 38
                source: step.smartphone ? "images/celular_azul.png" : "images/nuvem_azul.png"
            }
            Text {
                objectName: "unregisterGroupName"
                anchors.verticalCenter: parent.verticalCenter
                text: keyGroupToBeUnregisteredModel.keyGroupName
                font.family: "Open Sans"
                font.bold: true
                font.pixelSize: 16
            }
        }
        Text {
            width: parent.width
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignJustify
            text: "Não se preocupe, esta ação <b>remove</b> apenas o <b>acesso aos certificados</b> neste computador. "
                  + (step.smartphone ? "Seus certificados no smartphone estarão intactos."
                                     : "Seus certificados na nuvem estarão intactos.")
            font.family: "Open Sans"
            font.pixelSize: 14
        }
    }
    BackButton {
        objectName: "unregisterBackButton"
        text: "Voltar"
        onClicked: step.cancelFlow()
    }
    ForwardButton {
        objectName: "unregisterButton"
        text: "Descadastrar"
        onClicked: {
            step.nextCalled()
            keyGroupToBeUnregisteredModel.unregisterKeyGroup()
        }
    }
}
