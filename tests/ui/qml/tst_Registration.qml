import QtQuick 2.7
import QtTest 1.1

// The first-run wizard's pages, driven from the keyboard where a person
// would use it.
WindowTestCase {
    name: "Registration"

    function visiblePages() {
        var pages = []
        for (var i = 0; i < 4; ++i) {
            if (item("registrationPage" + i).visible)
                pages.push(i)
        }
        return pages
    }

    function init() {
        item("registration").windowCounter = 0
    }

    function test_wizardFromRequirementsToTheErrorPage() {
        var wizard = item("registration")
        compare(visiblePages(), [0])
        mouseClick(item("continueButton"))
        compare(visiblePages(), [1])

        // The form starts in its first field; Tab walks the fields in order.
        var name = item("installationNameField")
        verify(name.activeFocus)
        keyClick(Qt.Key_Tab)
        verify(item("userNameField").activeFocus)
        keyClick(Qt.Key_Tab)
        verify(item("domainNameField").activeFocus)

        // A field left blank takes its default when the focus leaves it.
        name.forceActiveFocus()
        name.selectAll()
        keyClick(Qt.Key_Delete)
        compare(installationModel.installationName, "")
        keyClick(Qt.Key_Tab)
        compare(name.text, "Casa")
        keyClick(Qt.Key_Tab)

        // Enter in the last field registers. These folders hold no service
        // address, so the service is not reached and the failure carries a
        // text besides: two reports, which take the counter past the error
        // page, and no page shows.
        keyClick(Qt.Key_Return)
        tryCompare(wizard, "windowCounter", 4)
        compare(visiblePages(), [])
    }

    function test_errorPageTellsTheServersText() {
        installationModel.errorServer = "Tempo esgotado"
        installationModel.errorChanged()
        installationModel.errorChanged()
        installationModel.errorChanged()
        compare(visiblePages(), [3])
        compare(item("registrationError").text, "Erro ao tentar comunicação com o servidor:\n"
                + "Tempo esgotado\nVerifique sua conexão de rede e tente novamente")
    }

    function test_waitingPageShowsTheEndOfTheRegistration() {
        var wizard = item("registration")
        wizard.windowCounter = 2
        installationModel.setupNewConfigurationFinished()
        verify(item("showCertificatesButton").visible)
        compare(visiblePages(), [2])
    }
}
