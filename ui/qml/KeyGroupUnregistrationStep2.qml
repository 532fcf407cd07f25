import QtQuick 2.7
import QtQuick.Controls 1.4

// The wait for the removal of a key group, and its outcome; the offline flag
// is the only sign of a failure.
Item {
    id: step
    property bool waitingConclusion: true
    readonly property bool smartphone: keyGroupToBeUnregisteredModel.keyGroupType === "SMARTPHONE"
    readonly property bool failed: verificationConnectionServer.isOffLine
    signal cancelFlow()

    Connections {
        target: keyGroupToBeUnregisteredModel
        function onKeyGroupUnregistered() { step.waitingConclusion = false }
    }

    WaitingSymbol {
        anchors.centerIn: parent
        visible: step.waitingConclusion
    }
    Outcome {
        objectName: "unregisterOutcome"
        anchors.centerIn: parent
        visible: !step.waitingConclusion
        success: !step.failed
        text: step.failed ? (step.smartphone ? "Falha ao descadastrar o dispositivo" : "Falha ao descadastrar a conta")
                          : (step.smartphone ? "O dispositivo foi descadastrado com sucesso"
                                             : "A conta foi descadastrada com sucesso")
    }
    ForwardButton {
        objectName: "unregisterDone"
        visible: !step.waitingConclusion
        text: step.failed ? "Fechar" : "Concluir"
        onClicked: step.cancelFlow()
    }
}
