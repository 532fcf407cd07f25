import QtQuick 2.7
import QtTest 1.1

// The first-run wizard's pages, driven from the keyboard where a person
// would use it.
WindowTestCase {
    name: "Registration"

    function visiblePages() {
        return [0, 1, 2, 3].filter(function (i) { return item("registrationPage" + i).visible })
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

        // Enter in the last field registers. No service is reached from these
        // folders, and the failure's two reports take the counter past the
        // error page: no page shows.
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
}
