import QtQuick 2.7
import QtTest 1.1

// The settings frame: the four pages of phone maintenance and the proxy tab.
WindowTestCase {
    name: "Settings"

    property var tabs: null

    function init() {
        showList()
        item("additionFormFrame").state = "off"
        mouseClick(item("settingsAction"))
        waitForFrame("tabsMaintenanceFrame", "on")
        tabs = item("tabsMaintenance")
    }

    function cleanup() {
        registrationModel.resetThisModel()
        if (item("tabsMaintenanceFrame").state === "on")
            mouseClick(item("maintenanceClose"))
        // Until it is gone, the frame's tabs lie over the tool bar.
        waitForFrame("tabsMaintenanceFrame", "off")
    }

    function test_maintenancePagesFollowTheModel() {
        registrationModel.requestMaintenanceFinished()
        compare(tabs.maintenanceDevicesStep, 1)
        // No phones were listed: there is nothing to remove.
        verify(item("singleDeviceView").visible)
        registrationModel.errorMessage = "Identidade desconhecida"
        verify(item("maintenanceServerErrorView").visible)
        verify(!item("singleDeviceView").visible)
        mouseClick(item("chooseDeviceBack"))
        compare(tabs.maintenanceDevicesStep, 0)
        registrationModel.resetThisModel()

        // A phone that does not answer: the outcome keeps the success look.
        tabs.maintenanceDevicesStep = 2
        maintenanceDeviceModel.confirmDevice()
        verify(item("approvalWaitView").visible)
        maintenanceDeviceModel.pushAuthenticationDeviceFinished(false)
        verify(item("approvalOutcome").visible)
        verify(item("approvalOutcome").success)
        maintenanceDeviceModel.pushAuthenticationDeviceFinished(true)
        compare(tabs.maintenanceDevicesStep, 3)

        verify(item("removalListView").visible)
        maintenanceDeviceModel.maintenanceDevices(2)
        verify(item("removalWorkingView").visible)
        verify(!item("removalBack").visible)
        maintenanceDeviceModel.maintenanceDevices(3)
        verify(item("removalDoneView").visible)
        mouseClick(item("removalDone"))
        compare(item("tabsMaintenanceFrame").state, "off")
        compare(tabs.maintenanceDevicesStep, 0)
        compare(list.tabsMaintenanceStep, 0)
    }

    function test_closingFromAnyPageStartsOverWithAnEmptyForm() {
        var field = item("identityCode1", item("maintenanceIdentityForm"))
        field.text = "123"
        tabs.maintenanceDevicesStep = 2
        mouseClick(item("maintenanceClose"))
        compare(item("tabsMaintenanceFrame").state, "off")
        compare(tabs.maintenanceDevicesStep, 0)
        compare(field.text, "")
    }

    function test_proxyControlsFollowUseAndType() {
        item("maintenanceTabs").currentIndex = 1
        var use = item("proxyUse")
        if (!use.checked)
            mouseClick(use)
        verify(proxyConfigModel.useProxy)

        mouseClick(item("proxyManual"))
        verify(proxyConfigModel.typeManual && !proxyConfigModel.typeNative && !proxyConfigModel.typeDirect)
        verify(item("proxyServer").enabled && item("proxyPort").enabled && item("proxyPreAuth").enabled)
        mouseClick(item("proxyPreAuth"))
        verify(proxyConfigModel.preAuth)

        // "Direto" has no pre-authentication and no address.
        mouseClick(item("proxyDirect"))
        verify(proxyConfigModel.typeDirect && !proxyConfigModel.typeManual)
        verify(!proxyConfigModel.preAuth)
        verify(!item("proxyPreAuth").enabled && !item("proxyServer").enabled)

        mouseClick(item("proxyNative"))
        verify(item("proxyPreAuth").enabled && !item("proxyPort").enabled)

        mouseClick(use)
        verify(!proxyConfigModel.useProxy)
        var controls = ["proxyDirect", "proxyNative", "proxyManual", "proxyServer", "proxyPort", "proxyPreAuth"]
        for (var i = 0; i < controls.length; ++i)
            verify(!item(controls[i]).enabled, controls[i])

        mouseClick(item("proxySave"))
        compare(item("tabsMaintenanceFrame").state, "off")
        item("maintenanceTabs").currentIndex = 0
    }
}
