import QtQuick 2.7
import QtTest 1.1

// The list's own frames: the reload notice and the unregistration pages.
WindowTestCase {
    name: "CertificateList"

    function init() {
        showList()
        item("additionFormFrame").state = "off"
        verificationConnectionServer.setOffLine(false)
    }

    function test_reloadNoticeStaysUntilTheReloadEnds() {
        mouseClick(item("reloadAction"))
        compare(item("refreshStatusFrame").state, "on")
        certificatesTableModel.reloadingCertificatesFinished()
        compare(item("refreshStatusFrame").state, "off")
    }

    function test_unregistrationPagesAndTheirOutcome() {
        waitForFrame("unregisterKeyGroupFrame", "on")
        // With no group held the texts are those of an account.
        compare(keyGroupToBeUnregisteredModel.keyGroupType, "")
        mouseClick(item("unregisterButton"))
        compare(list.unregisterCurrentStep, 1)
        verify(!item("unregisterDone").visible)

        keyGroupToBeUnregisteredModel.keyGroupUnregistered()
        compare(outcome("unregisterOutcome").text, "A conta foi descadastrada com sucesso")
        compare(item("unregisterDone").text, "Concluir")
        // A failure shows only through the offline flag.
        verificationConnectionServer.setOffLine(true)
        compare(outcome("unregisterOutcome").text, "Falha ao descadastrar a conta")
        compare(item("unregisterDone").text, "Fechar")
        mouseClick(item("unregisterDone"))
        compare(item("unregisterKeyGroupFrame").state, "off")

        // The next removal waits again.
        list.unregisterCurrentStep = 0
        waitForFrame("unregisterKeyGroupFrame", "on")
        mouseClick(item("unregisterButton"))
        verify(!item("unregisterDone").visible)
    }
}
