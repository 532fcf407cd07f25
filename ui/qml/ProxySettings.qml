import QtQuick 2.7
import QtQuick.Controls 1.4

// The proxy tab. Every control writes its value straight to the model and
// follows it back, so a reload of the model shows in the form.
ModalWindow {
    id: proxyTab
    state: "on"
    readonly property bool manual: proxyConfigModel.useProxy && proxyConfigModel.typeManual

    function labelColor(enabled) { return enabled ? "black" : "#bbb" }

    Grid {
        anchors.top: parent.top
        anchors.topMargin: 40
        anchors.horizontalCenter: parent.horizontalCenter
        columns: 2
        rowSpacing: 10
        columnSpacing: 10
        verticalItemAlignment: Grid.AlignVCenter

        ProxyLabel { text: "Utilizar proxy" }
        CheckBox {
            id: useProxy
            objectName: "proxyUse"
            onCheckedChanged: proxyConfigModel.useProxy = checked
        }

        ProxyLabel { text: "Tipo de conexão"; color: proxyTab.labelColor(proxyConfigModel.useProxy) }
        Row {
            spacing: 16
            ExclusiveGroup { id: proxyType }
            ProxyTypeButton {
                objectName: "proxyDirect"
                text: "Direto"
                exclusiveGroup: proxyType
                selected: proxyConfigModel.typeDirect
                onCheckedChanged: {
                    proxyConfigModel.typeDirect = checked
                    if (checked)
                        preAuth.checked = false
                }
            }
            ProxyTypeButton {
                objectName: "proxyNative"
                text: "Nativo"
                exclusiveGroup: proxyType
                selected: proxyConfigModel.typeNative
                onCheckedChanged: proxyConfigModel.typeNative = checked
            }
            ProxyTypeButton {
                objectName: "proxyManual"
                text: "Manual"
                exclusiveGroup: proxyType
                selected: proxyConfigModel.typeManual
                onCheckedChanged: proxyConfigModel.typeManual = checked
            }
        }

        ProxyLabel { text: "Servidor (HTTPS)"; color: proxyTab.labelColor(proxyTab.manual) }
        TextField {
            id: server
            objectName: "proxyServer"
            width: 300
            style: textFieldStyle
            enabled: proxyTab.manual
            text: proxyConfigModel.server
            onTextChanged: proxyConfigModel.server = text
        }

        ProxyLabel { text: "Porta"; color: proxyTab.labelColor(proxyTab.manual) }
        TextField {
            id: port
            objectName: "proxyPort"
            width: 120
            style: textFieldStyle
            enabled: proxyTab.manual
            text: proxyConfigModel.port
            onTextChanged: proxyConfigModel.port = text
            onAccepted: saveButton.clicked()
        }

        ProxyLabel { text: "Pré-autenticação"; color: proxyTab.labelColor(preAuth.enabled) }
        CheckBox {
            id: preAuth
            objectName: "proxyPreAuth"
            enabled: proxyConfigModel.useProxy && (proxyConfigModel.typeNative || proxyConfigModel.typeManual)
            onCheckedChanged: proxyConfigModel.preAuth = checked
        }
    }

    Binding { target: useProxy; property: "checked"; value: proxyConfigModel.useProxy }
    Binding { target: preAuth; property: "checked"; value: proxyConfigModel.preAuth }

    ForwardButton {
        id: saveButton
        objectName: "proxySave"
        text: "Salvar"
        onClicked: {
            proxyConfigModel.saveProxyConfig()
            closeButton.clicked()
        }
    }
}
