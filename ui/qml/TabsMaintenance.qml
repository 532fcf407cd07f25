import QtQuick 2.7
import QtQuick.Controls 1.4
import QtQuick.Controls.Styles 1.4

// Settings: removal of phones under another phone's approval, and the proxy.
Item {
    id: tabsMaintenance
    property int maintenanceDevicesStep: 0

    function close() {
        tabsMaintenanceFrame.state = "off"
        maintenanceDevicesStep = 0
        tabsMaintenanceStep = 0
        registrationModel.resetThisModel()
        certificatesTableModel.updateCertificates()
        var devicesTab = tabs.getTab(0)
        if (devicesTab && devicesTab.item)
            devicesTab.item.resetIdentityForm()
    }

    TabView {
        id: tabs
        objectName: "maintenanceTabs"
        anchors.fill: parent
        anchors.topMargin: 10
        anchors.rightMargin: 20
        anchors.leftMargin: 20
        anchors.bottomMargin: 6
        style: TabViewStyle {
            frameOverlap: 1
            tab: Rectangle {
                implicitWidth: 240
                implicitHeight: 45
                color: styleData.selected ? "#7030C5" : "white"
                border.width: 1
                border.color: "#ddd"
                Text {
                    anchors.centerIn: parent
                    text: styleData.title
                    color: styleData.selected ? "white" : "black"
                    font.family: "Open Sans Condensed Bold"
                    font.pixelSize: 16
                }
            }
            frame: Rectangle {
                color: "white"
                border.width: 1
                border.color: "#ddd"
            }
        }

        Component.onCompleted: {
            addTab("Manutenção de Dispositivos", devicesTab)
            if (proxyConfigModel.showProxyDisplay)
                addTab("Configuração de Proxy", proxyTab)
        }
    }

    Connections {
        target: maintenanceDeviceModel
        function onSelectTabIndex() { tabs.currentIndex = 0 }
    }

    Component {
        id: devicesTab
        Item {
            function resetIdentityForm() { identityPage.reset() }
            SlidingPage {
                page: 0
                currentPage: tabsMaintenance.maintenanceDevicesStep
                MaintenanceDevices1 { id: identityPage; anchors.fill: parent }
            }
            SlidingPage {
                page: 1
                currentPage: tabsMaintenance.maintenanceDevicesStep
                MaintenanceDevices2 { anchors.fill: parent }
            }
            SlidingPage {
                page: 2
                currentPage: tabsMaintenance.maintenanceDevicesStep
                MaintenanceDevices3 { anchors.fill: parent }
            }
            SlidingPage {
                page: 3
                currentPage: tabsMaintenance.maintenanceDevicesStep
                MaintenanceDevices4 { anchors.fill: parent }
            }
        }
    }

    Component {
        id: proxyTab
        ProxySettings {}
    }

    Button {
        id: closeButton
        objectName: "maintenanceClose"
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        anchors.leftMargin: 30
        anchors.bottomMargin: 26
        z: 1
        text: "Fechar"
        style: backButtonStyle
        onClicked: tabsMaintenance.close()
    }
}
