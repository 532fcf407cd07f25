import QtQuick 2.7
import QtQuick.Controls 1.4

// A kind of proxy connection; it follows the model's flag of that kind.
RadioButton {
    id: typeButton
    property bool selected
    enabled: proxyConfigModel.useProxy
    style: radioButtonStyle
    Binding { target: typeButton; property: "checked"; value: typeButton.selected }
}
