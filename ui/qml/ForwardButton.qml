import QtQuick 2.7
import QtQuick.Controls 1.4

// The button that carries a page onwards, at its bottom right.
Button {
    anchors.right: parent.right
    anchors.bottom: parent.bottom
    anchors.rightMargin: 20
    anchors.bottomMargin: 20
    style: buttonStyle
}
