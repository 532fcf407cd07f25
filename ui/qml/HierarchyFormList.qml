import QtQuick 2.7
import QtQuick.Controls 1.4
import QtQuick.Controls.Styles 1.4

// The identity form: the hierarchies on the left, the fields of the chosen
// one on the right. What is typed stays in the fields when another hierarchy
// is chosen, and goes to that hierarchy's item.
Item {
    id: form
    property var activeHierarchyItem: hierarchyListModel.at(0)
    signal resetThisView()
    // Enter in the last field that shows.
    signal submitted()

    function focusFirstField() { identityCode1.forceActiveFocus() }

    onResetThisView: {
        hierarchyListModel.resetThisModel()
        identityCode1.text = ""
    }

    ExclusiveGroup {
        id: hierarchyGroup
        onCurrentChanged: {
            if (current)
                form.activeHierarchyItem = hierarchyListModel.at(current.row)
        }
    }

    ScrollView {
        id: hierarchyScroll
        anchors.left: parent.left
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        width: parent.width * 0.4
        style: ScrollViewStyle {
            transientScrollBars: false
            handle: Item {
                implicitWidth: 9
                Rectangle {
                    anchors.fill: parent
                    color: "#cc777777"
                    radius: 4
                }
            }
            scrollBarBackground: Item { implicitWidth: 9 }
            incrementControl: Item {}
            decrementControl: Item {}
        }

        ListView {
            id: hierarchyList
            objectName: "hierarchyList"
            model: hierarchyListModel
            delegate: RadioButton {
                property int row: index
                objectName: "hierarchy" + index
                width: hierarchyList.width
                height: 55
                exclusiveGroup: hierarchyGroup
                checked: index === 0
                text: displayName
                style: RadioButtonStyle {
                    indicator: Item {}
                    spacing: 0
                    background: Rectangle {
                        color: control.checked ? "#757575" : "white"
                        border.width: control.activeFocus ? 1 : 0
                        border.color: "#7030C5"
                    }
                    label: Text {
                        width: control.width
                        height: control.height
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        text: control.text
                        font.family: "Open Sans"
                        font.pixelSize: 16
                        color: control.checked ? "white" : "black"
                    }
                }
            }
        }
    }

    Column {
        anchors.left: hierarchyScroll.right
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.verticalCenterOffset: -parent.height / 6
        spacing: 12

        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: form.activeHierarchyItem ? form.activeHierarchyItem.displayName : ""
            font.family: "Open Sans Semibold"
            font.pixelSize: 16
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 8
            IdentityField {
                id: identityCode1
                objectName: "identityCode1"
                hierarchyItem: form.activeHierarchyItem
                part: 1
                last: !identityCode2.visible
                onSubmitted: form.submitted()
            }
            IdentityField {
                id: identityCode2
                objectName: "identityCode2"
                hierarchyItem: form.activeHierarchyItem
                part: 2
                last: !identityCode3.visible
                onSubmitted: form.submitted()
            }
            IdentityField {
                id: identityCode3
                objectName: "identityCode3"
                hierarchyItem: form.activeHierarchyItem
                part: 3
                onSubmitted: form.submitted()
            }
        }
        Text {
            objectName: "resultMask"
            anchors.horizontalCenter: parent.horizontalCenter
            property bool failed: form.activeHierarchyItem ? !form.activeHierarchyItem.maskSuccess : false
            text: form.activeHierarchyItem ? form.activeHierarchyItem.resultMask : ""
            font.family: "Open Sans"
            font.pixelSize: 13
            font.bold: failed
            color: failed ? "red" : descriptionTextColor
        }
    }
}
