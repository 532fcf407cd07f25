import QtQuick 2.7
import QtQuick.Controls 1.4
import QtQuick.Controls.Styles 1.4

// Scrolled check boxes over a device model (roles deviceName, markToSync,
// enabledItem); a row that cannot be chosen says why after the name.
ScrollView {
    id: checklist
    property var devices
    property string disabledSuffix

    ListView {
        model: checklist.devices
        delegate: CheckBox {
            objectName: "deviceCheck" + index
            height: 24
            enabled: enabledItem
            checked: markToSync
            text: enabledItem ? deviceName : deviceName + checklist.disabledSuffix
            onCheckedChanged: checklist.devices.updateStatus(index, checked)
            style: CheckBoxStyle {
                label: Text {
                    text: control.text
                    font.family: "Open Sans"
                    font.pixelSize: 14
                    color: control.enabled ? "#111111" : "#FF0000"
                }
            }
        }
    }
}
