import QtQuick 2.7
import QtQuick.Controls 1.4

// Search of the phones enrolled for an identity. The search button answers
// the validity of the identity only until its first click: from then on the
// model's reports turn it back on.
Item {
    PageTitle { id: title; text: "Adicionar Certificado" }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        text: "Procurar <b>dispositivos</b> registrados usando uma <b>identificação<b>"
    }
    HierarchyFormList {
        id: identityForm
        objectName: "searchIdentityForm"
        anchors.top: subtitle.bottom
        anchors.topMargin: 20
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: errorText.top
        anchors.margins: 20
        onSubmitted: if (searchButton.enabled) searchButton.clicked()
    }
    Text {
        id: errorText
        objectName: "searchError"
        anchors.bottom: searchButton.top
        anchors.bottomMargin: 10
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 20
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        color: "red"
        font.family: "Open Sans"
        font.pixelSize: 15
    }
    BackButton {
        objectName: "searchBackButton"
        text: "Voltar"
        onClicked: {
            currentStep = 0
            identityForm.resetThisView()
        }
    }
    ForwardButton {
        id: searchButton
        objectName: "searchButton"
        text: "Procurar dispositivo"
        enabled: identityForm.activeHierarchyItem ? identityForm.activeHierarchyItem.validIdentity : false
        onClicked: {
            searchButton.enabled = false
            registrationModel.hierarchyItemModel = identityForm.activeHierarchyItem
            registrationModel.requestRegistration()
        }
    }

    Connections {
        target: registrationModel
        function onRequestRegistrationFinished() {
            currentStep = 2
            searchButton.enabled = true
        }
        function onErrorChanged() {
            searchButton.enabled = true
            errorText.text = registrationModel.errorMessage
        }
    }
    Connections {
        target: foundDevicesModel
        function onDevicesRegistered() { identityForm.resetThisView() }
    }
}
