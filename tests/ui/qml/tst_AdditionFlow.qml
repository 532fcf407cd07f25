import QtQuick 2.7
import QtTest 1.1

// Pages of the addition frame: the picker, the three phone steps and the
// two cloud-account steps, moved by the models' signals as their workers
// would send them.
ListTestCase {
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

    function test_aFreshListLandsOnThePicker() {
        compare(item("additionFormFrame").state, "on")
        compare(list.currentStep, 0)
        waitForFrame("additionFormFrame", "on")
        mouseClick(item("kestrelCard"))
        compare(list.currentStep, 1)
        // No hierarchy is known in these folders, so no identity is valid.
        var search = item("searchButton")
        verify(!search.enabled)
        list.currentStep = 0
        mouseClick(item("harrierCard"))
        compare(list.currentStep, 11)
        list.currentStep = 0
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
        verify(!item("certificateTable").activeFocus)
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
        registrationModel.resetThisModel()
        verify(item("foundDevicesList").visible)
        verify(!item("authorizeButton").enabled)
        mouseClick(item("devicesBackButton"))
        compare(list.currentStep, 1)
    }

    function test_waitPageViewsFollowTheErrorsAndTheWait() {
        waitForFrame("additionFormFrame", "on")
        list.currentStep = 3
        foundDevicesModel.confirmDevice()
        verify(item("authorizationWaitView").visible)
        verify(item("cancelWaitButton").visible)

        registrationModel.devicesRegistered()
        verify(!item("authorizationWaitView").visible)
        verify(item("authorizationOutcomeView").visible)
        verify(!item("cancelWaitButton").visible)
        mouseClick(item("authorizationDone"))
        compare(item("additionFormFrame").state, "off")

        waitForFrame("additionFormFrame", "on")
        verify(item("authorizationWaitView").visible)
        registrationModel.errorMessage = "Servidor fora do ar"
        verify(item("authorizationFailedView").visible)
        verify(!item("authorizationWaitView").visible)
        mouseClick(item("authorizationErrorClose"))
        compare(registrationModel.errorMessage, "")
        compare(item("additionFormFrame").state, "off")
    }

    function test_cloudLoginFormAndItsOutcome() {
        waitForFrame("additionFormFrame", "on")
        list.currentStep = 11
        var send = item("authorizeAccessButton")
        verify(item("harrierEmail").activeFocus)
        verify(!send.enabled)
        keyClick("a")
        compare(harrierRegistration.email, "a")
        item("harrierPassword").text = "segredo"
        verify(send.enabled)

        list.currentStep = 12
        harrierRegistration.errorMessage = "Usuário ou senha inválidos"
        harrierRegistration.errorOccurred()
        var done = item("harrierDone")
        verify(done.visible)
        compare(done.text, "Fechar")
        compare(outcome("harrierOutcome").text, "Usuário ou senha inválidos")
        mouseClick(done)
        compare(item("additionFormFrame").state, "off")
        compare(harrierRegistration.email, "")
        compare(item("harrierEmail").text, "")
        verify(!done.visible)

        // The next attempt succeeds: no trace of the last failure.
        harrierRegistration.registrationFinished()
        compare(done.text, "Concluir")
        compare(outcome("harrierOutcome").text, "Sincronização efetuada com Sucesso")
    }
}
