import QtQuick 2.7
import QtQuick.Controls 1.4

// The identity whose phones are to be maintained.
IdentitySearch {
    id: page
    title: "Manutenção de Dispositivos"
    subtitle: "Informe a <b>identidade</b> do certificado presente no seu smartphone."
    formName: "maintenanceIdentityForm"
    errorName: "maintenanceSearchError"
    buttonText: "Listar dispositivos"
    buttonName: "listDevicesButton"
    onSearchStarted: {
        registrationModel.requestMaintenanceDevices()
        maintenanceDeviceModel.configureItemIndexCombo(0)
    }

    Connections {
        target: registrationModel
        function onRequestMaintenanceFinished() {
            maintenanceDevicesStep = 1
            maintenanceDeviceModel.configureItemIndexCombo(0)
            page.button.enabled = true
        }
    }
    Connections {
        target: maintenanceDeviceModel
        function onMaintenanceFinish() { page.reset() }
    }
}
