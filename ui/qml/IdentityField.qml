import QtQuick 2.7
import QtQuick.Controls 1.4

// One of the up to three fields of an identity: the hierarchy item gives its
// width and whether it shows, and receives what is typed in it.
TextField {
    id: field
    property var hierarchyItem
    property int part: 1
    // Whether no field after this one shows: Enter here sends the form.
    property bool last: true
    signal submitted()

    visible: part === 1 || (hierarchyItem ? hierarchyItem["displayIdentityCode" + part] === true : false)
    width: hierarchyItem ? hierarchyItem["identityCode" + part + "Length"] : 100
    style: hierarchyItem && !hierarchyItem.maskSuccess ? textFieldErrorStyle : textFieldStyle
    onAccepted: if (last) field.submitted()

    Binding {
        target: field.hierarchyItem ? field.hierarchyItem : null
        property: "identityCode" + field.part
        value: field.text
    }
}
