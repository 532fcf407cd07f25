import QtQuick 2.7
import QtTest 1.1

WindowTestCase {
    name: "MainWindow"

    function test_offlineBannerFollowsTheServerState() {
        var banner = item("offlineBanner")
        compare(banner.text, "Orvane está offline")
        verify(!banner.visible)
        verificationConnectionServer.setOffLine(true)
        verify(banner.visible)
        verificationConnectionServer.setOffLine(false)
        verify(!banner.visible)
    }

    function test_aboutBoxTogglesFromTheIconAndCloses() {
        var about = item("aboutBox")
        compare(item("aboutVersion").text, "Versão: 2.1.4.3")
        mouseClick(item("informationIcon"))
        mouseClick(item("informationIcon"))
        compare(about.state, "off")
        mouseClick(item("informationIcon"))
        compare(about.state, "on")
        // Wait for the slide-in to finish before pressing the button in it.
        wait(600)
        mouseClick(item("aboutClose"))
        compare(about.state, "off")
    }

    // The faces come from our resource, never from whatever sans the system
    // would fall back to, also under the family names the screens use.
    function test_textRendersInOpenSans() {
        var families = ["Open Sans", "Open Sans Light", "Open Sans Semibold", "Open Sans Bold",
                        "Open Sans Regular", "Open Sans Condensed Bold"]
        for (var i = 0; i < families.length; ++i) {
            var text = Qt.createQmlObject('import QtQuick 2.7; Text { text: "Versão" }', window.contentItem)
            text.font.family = families[i]
            verify(text.fontInfo.family.indexOf("Open Sans") === 0,
                   families[i] + " rendered as " + text.fontInfo.family)
            text.destroy()
        }
        compare(item("offlineBanner").fontInfo.family.indexOf("Open Sans"), 0)
    }
}
