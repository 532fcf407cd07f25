import QtQuick 2.7
import QtQuick.Controls 1.4

// A page that asks for an identity and searches its phones. Its button
// answers the identity's validity only until its first click: from then on
// the search model's error reports turn it back on, the first of them
// within moments of the click.
Item {
    id: search
    property alias title: title.text
    property alias subtitle: subtitle.text
    property alias formName: identityForm.objectName
    property alias errorName: errorText.objectName
    property alias buttonText: searchButton.text
    property alias buttonName: searchButton.objectName
    // The page's way back, if it has one (an empty text hides it). It
    // stands before the search button, so Tab meets them in reading order.
    property alias backText: backButton.text
    property alias backName: backButton.objectName
    readonly property alias form: identityForm
    readonly property alias button: searchButton
    signal searchStarted()
    signal backClicked()

    function reset() { identityForm.resetThisView() }
    onVisibleChanged: if (visible) identityForm.focusFirstField()

    PageTitle { id: title }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
    }
    HierarchyFormList {
        id: identityForm
        anchors.top: subtitle.bottom
        anchors.topMargin: 20
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: errorText.top
        anchors.margins: 20
        onSubmitted: if (searchButton.enabled) searchButton.clicked()
    }
    Text {
        id: errorText
        anchors.bottom: searchButton.top
        anchors.bottomMargin: 10
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 20
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        color: "red"
        font.family: "Open Sans"
        font.pixelSize: 15
    }
    BackButton {
        id: backButton
        visible: text.length > 0
        onClicked: search.backClicked()
    }
    ForwardButton {
        id: searchButton
        enabled: identityForm.activeHierarchyItem ? identityForm.activeHierarchyItem.validIdentity : false
        onClicked: {
            searchButton.enabled = false
            registrationModel.hierarchyItemModel = identityForm.activeHierarchyItem
            search.searchStarted()
        }
    }

    Connections {
        target: registrationModel
        function onErrorChanged() {
            searchButton.enabled = true
            errorText.text = registrationModel.errorMessage
        }
    }
}
