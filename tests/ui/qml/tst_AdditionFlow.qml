import QtQuick 2.7
import QtTest 1.1

// Pages of the addition frame moved by the models' signals as their workers
// would send them: the failures and states the window test does not reach.
WindowTestCase {
    name: "AdditionFlow"

    function init() {
        showList()
    }

    // Any error report turns the search button on; the search test needs
    // the reports of earlier tests gone before it starts.
    function cleanup() {
        foundDevicesModel.resetError()
        registrationModel.errorMessage = ""
    }

    // (That a fresh list opens the picker is the window test's.)
    function test_aFreshListLandsOnThePicker() {
        waitForFrame("additionFormFrame", "on")
        // No hierarchy is known in these folders, so no identity is valid.
        var search = item("searchButton")
        verify(!search.enabled)
        mouseClick(item("pickerBackButton"))
        compare(item("additionFormFrame").state, "off")
        // Leaving resets the search model, and its report turns the search
        // button on for good, identity or not.
        verify(search.enabled)
    }

    // Fields, then the way back, then the way on; from there back to the
    // first field, never to the list under the frame.
    function test_tabMovesInReadingOrderAndStaysInTheFrame() {
        waitForFrame("additionFormFrame", "on")
        list.currentStep = 1
        var field = item("identityCode1")
        field.forceActiveFocus()
        item("searchButton").enabled = true
        keyClick(Qt.Key_Tab)
        verify(item("searchBackButton").activeFocus)
        keyClick(Qt.Key_Tab)
        verify(item("searchButton").activeFocus)
        keyClick(Qt.Key_Tab)
        verify(field.activeFocus)
    }

    function test_searchErrorShowsAndTheSearchEndsOnTheDevicePage() {
        waitForFrame("additionFormFrame", "on")
        list.currentStep = 1
        // As the click leaves it, until the model reports.
        var search = item("searchButton")
        search.enabled = false
        registrationModel.errorMessage = "Identidade desconhecida"
        registrationModel.errorChanged()
        verify(search.enabled)
        compare(item("searchError").text, "Identidade desconhecida")

        // Every search ends on the device page, which shows the failure.
        registrationModel.requestRegistrationFinished()
        compare(list.currentStep, 2)
        verify(item("searchServerError").visible)
        verify(!item("foundDevicesList").visible)
        verify(!item("authorizeButton").visible)
        mouseClick(item("devicesBackButton"))
        compare(list.currentStep, 1)
    }

    function test_waitFailureShowsItsErrorAndClosesTheFrame() {
        waitForFrame("additionFormFrame", "on")
        list.currentStep = 3
        foundDevicesModel.confirmDevice()
        verify(item("authorizationWaitView").visible)
        verify(item("cancelWaitButton").visible)
        registrationModel.errorMessage = "Servidor fora do ar"
        verify(item("authorizationFailedView").visible)
        verify(!item("authorizationWaitView").visible)
        mouseClick(item("authorizationErrorClose"))
        compare(registrationModel.errorMessage, "")
        compare(item("additionFormFrame").state, "off")
    }

    function test_cloudLoginFailureLeavesNoTraceForTheNextAttempt() {
        waitForFrame("additionFormFrame", "on")
        list.currentStep = 11
        verify(item("harrierEmail").activeFocus)
        verify(!item("authorizeAccessButton").enabled)

        list.currentStep = 12
        harrierRegistration.errorMessage = "Usuário ou senha inválidos"
        harrierRegistration.errorOccurred()
        var done = item("harrierDone")
        compare(done.text, "Fechar")
        compare(outcome("harrierOutcome").text, "Usuário ou senha inválidos")
        mouseClick(done)
        compare(item("additionFormFrame").state, "off")
        compare(item("harrierEmail").text, "")
        verify(!done.visible)
        harrierRegistration.registrationFinished()
        compare(done.text, "Concluir")
        compare(outcome("harrierOutcome").text, "Sincronização efetuada com Sucesso")
    }
}
