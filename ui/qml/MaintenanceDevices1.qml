import QtQuick 2.7
import QtQuick.Controls 1.4

// The identity whose phones are to be maintained. As in the search of the
// addition flow, the list button answers the identity's validity only until
// its first click.
Item {
    function resetForm() { identityForm.resetThisView() }

    PageTitle { id: title; text: "Manutenção de Dispositivos" }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        text: "Informe a <b>identidade</b> do certificado presente no seu smartphone."
    }
    HierarchyFormList {
        id: identityForm
        objectName: "maintenanceIdentityForm"
        anchors.top: subtitle.bottom
        anchors.topMargin: 20
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: errorText.top
        anchors.margins: 20
        onSubmitted: if (listButton.enabled) listButton.clicked()
    }
    Text {
        id: errorText
        objectName: "maintenanceSearchError"
        anchors.bottom: listButton.top
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
    ForwardButton {
        id: listButton
        objectName: "listDevicesButton"
        text: "Listar dispositivos"
        enabled: identityForm.activeHierarchyItem ? identityForm.activeHierarchyItem.validIdentity : false
        onClicked: {
            listButton.enabled = false
            registrationModel.hierarchyItemModel = identityForm.activeHierarchyItem
            registrationModel.requestMaintenanceDevices()
            maintenanceDeviceModel.configureItemIndexCombo(0)
        }
    }

    Connections {
        target: registrationModel
        function onRequestMaintenanceFinished() {
            maintenanceDevicesStep = 1
            maintenanceDeviceModel.configureItemIndexCombo(0)
            listButton.enabled = true
        }
        function onErrorChanged() {
            listButton.enabled = true
            errorText.text = registrationModel.errorMessage
        }
    }
    Connections {
        target: maintenanceDeviceModel
        function onMaintenanceFinish() { identityForm.resetThisView() }
    }
}
