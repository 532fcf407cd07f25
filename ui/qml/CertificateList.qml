import QtQuick 2.7
import QtQuick.Controls 1.4
import QtQuick.Controls.Styles 1.4

// Main screen once this computer is registered: the certificates grouped by
// phone and cloud account, and, as frames sliding over it, every other flow.
Item {
    id: certificateList
    property int currentStep: 0
    property int unregisterCurrentStep: 0
    property int tabsMaintenanceStep: 0
    // While a frame covers the list, Tab stays among the frame's controls.
    readonly property bool frameOpen: additionFormFrame.state === "on" || unregisterKeyGroupFrame.state === "on"
                                      || tabsMaintenanceFrame.state === "on"

    function openAdditionForm() {
        currentStep = 0
        additionFormFrame.state = "on"
    }

    Component.onCompleted: {
        console.log("CertificateList: ready")
        console.log("CertificateList: checking the provider")
        certificatesTableModel.verifyProviderStatus()
    }
    // Right after the first registration there is nothing to list yet: go
    // straight to adding a certificate.
    onVisibleChanged: {
        if (visible && !certificatesTableModel.hasCertificates())
            openAdditionForm()
    }

    Rectangle {
        id: toolBar
        objectName: "toolBar"
        anchors.top: parent.top
        anchors.left: parent.left
        anchors.right: parent.right
        height: 40
        color: "#7030c5"

        Row {
            anchors.left: parent.left
            anchors.leftMargin: 20
            anchors.verticalCenter: parent.verticalCenter
            spacing: 40
            ActionButton {
                objectName: "addCertificateAction"
                imageFile: "images/adicionar.png"
                description: "Adicionar certificado"
                onClicked: certificateList.openAdditionForm()
            }
            ActionButton {
                objectName: "reloadAction"
                imageFile: "images/recarregar.png"
                description: "Recarregar"
                onClicked: {
                    refreshStatusFrame.state = "on"
                    certificatesTableModel.updateCertificates()
                }
            }
            ActionButton {
                objectName: "settingsAction"
                imageFile: "images/configuracoes.png"
                description: "Configurações"
                onClicked: {
                    maintenanceDeviceModel.initTabIndex()
                    certificateList.tabsMaintenanceStep = 0
                    tabsMaintenanceFrame.state = "on"
                }
            }
            ActionButton {
                objectName: "helpAction"
                imageFile: "images/ajuda.png"
                description: "Ajuda"
                onClicked: installationModel.openFaqKestrel()
            }
        }
    }
    Connections {
        target: certificatesTableModel
        function onReloadingCertificatesFinished() { refreshStatusFrame.state = "off" }
    }

    Rectangle {
        id: heading
        anchors.top: toolBar.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        height: 40
        color: "white"
        Text {
            anchors.left: parent.left
            anchors.leftMargin: 20
            anchors.verticalCenter: parent.verticalCenter
            text: "Certificados"
            font.family: "Open Sans Regular"
            font.pixelSize: 24
        }
    }

    TableView {
        id: table
        objectName: "certificateTable"
        anchors.top: heading.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        model: certificatesTableModel
        activeFocusOnTab: !certificateList.frameOpen
        verticalScrollBarPolicy: Qt.ScrollBarAlwaysOn
        horizontalScrollBarPolicy: Qt.ScrollBarAlwaysOff
        backgroundVisible: false
        alternatingRowColors: false
        section.property: "keyGroup"
        section.delegate: KeyGroupSection {
            width: table.viewport.width
            keyGroup: section
        }

        TableViewColumn {
            role: "certificateName"
            title: "Nome"
            width: table.viewport.width * 3 / 4
            resizable: false
            movable: false
        }
        TableViewColumn {
            role: "validUntil"
            title: "Válido Até"
            width: table.viewport.width / 4
            resizable: false
            movable: false
        }

        headerDelegate: Rectangle {
            height: 30
            color: "white"
            Text {
                anchors.left: parent.left
                anchors.leftMargin: styleData.column === 0 ? 45 : 0
                anchors.verticalCenter: parent.verticalCenter
                text: styleData.value
                font.family: "Open Sans"
                font.bold: true
                font.pixelSize: 14
                color: "black"
            }
        }
        rowDelegate: Item {
            height: 40
            Rectangle {
                anchors.fill: parent
                anchors.bottomMargin: 1
                color: "#bbffffff"
            }
        }
        itemDelegate: Text {
            leftPadding: styleData.column === 0 ? 70 : 0
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
            text: styleData.value !== undefined ? styleData.value : ""
            font.family: "Open Sans"
            font.pixelSize: 14
            color: "black"
        }
    }

    ModalWindow {
        id: additionFormFrame
        objectName: "additionFormFrame"
        anchors.fill: parent
        anchors.leftMargin: 30
        anchors.rightMargin: 30
        anchors.bottomMargin: 30
        anchors.topMargin: -11

        // Built while the first picture is already on screen: the frame
        // starts out of sight.
        Loader {
            anchors.fill: parent
            asynchronous: true
            sourceComponent: Component {
                Item {
                    SlidingPage {
                        page: 0
                        currentPage: currentStep
                        KeyRepositoryPicker { anchors.fill: parent }
                    }
                    SlidingPage {
                        page: 1
                        currentPage: currentStep
                        KestrelRegistrationStep1 { anchors.fill: parent }
                    }
                    SlidingPage {
                        page: 2
                        currentPage: currentStep
                        KestrelRegistrationStep2 { anchors.fill: parent }
                    }
                    SlidingPage {
                        page: 3
                        currentPage: currentStep
                        KestrelRegistrationStep3 { anchors.fill: parent }
                    }
                    SlidingPage {
                        page: 11
                        currentPage: currentStep
                        HarrierRegistrationStep1 { anchors.fill: parent }
                    }
                    SlidingPage {
                        page: 12
                        currentPage: currentStep
                        HarrierRegistrationStep2 { anchors.fill: parent }
                    }
                }
            }
        }
    }

    ModalWindow {
        id: refreshStatusFrame
        objectName: "refreshStatusFrame"
        anchors.top: parent.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: 30
        anchors.rightMargin: 30
        anchors.topMargin: -11
        height: 50

        Text {
            anchors.centerIn: parent
            text: "Lista de certificados sendo atualizada."
            font.family: "Open Sans"
            font.pixelSize: 16
        }
    }

    ModalWindow {
        id: unregisterKeyGroupFrame
        objectName: "unregisterKeyGroupFrame"
        anchors.fill: parent
        anchors.leftMargin: 30
        anchors.rightMargin: 30
        anchors.bottomMargin: 30
        anchors.topMargin: -11

        // Built while the first picture is already on screen: the frame
        // starts out of sight.
        Loader {
            anchors.fill: parent
            asynchronous: true
            sourceComponent: Component {
                Item {
                    SlidingPage {
                        page: 0
                        currentPage: unregisterCurrentStep
                        KeyGroupUnregistrationStep1 {
                            anchors.fill: parent
                            onNextCalled: {
                                unregistrationOutcome.waitingConclusion = true
                                unregisterCurrentStep = 1
                            }
                            onCancelFlow: unregisterKeyGroupFrame.state = "off"
                        }
                    }
                    SlidingPage {
                        page: 1
                        currentPage: unregisterCurrentStep
                        KeyGroupUnregistrationStep2 {
                            id: unregistrationOutcome
                            anchors.fill: parent
                            onCancelFlow: unregisterKeyGroupFrame.state = "off"
                        }
                    }
                }
            }
        }
    }

    ModalWindow {
        id: tabsMaintenanceFrame
        objectName: "tabsMaintenanceFrame"
        anchors.fill: parent
        anchors.leftMargin: 30
        anchors.rightMargin: 30
        anchors.bottomMargin: 10
        anchors.topMargin: -11

        // Built while the first picture is already on screen: the frame
        // starts out of sight.
        Loader {
            anchors.fill: parent
            asynchronous: true
            sourceComponent: Component {
                Item {
                    TabsMaintenance {
                        objectName: "tabsMaintenance"
                        anchors.fill: parent
                    }
                }
            }
        }
    }

    BoxNovaVersao {}
    BoxProviderStatus {}
}
