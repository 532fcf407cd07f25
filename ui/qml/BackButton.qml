import QtQuick 2.7
import QtQuick.Controls 1.4

// The button that leaves a page backwards, at its bottom left.
Button {
    anchors.left: parent.left
    anchors.bottom: parent.bottom
    anchors.leftMargin: 20
    anchors.bottomMargin: 20
    style: backButtonStyle
}
