import QtQuick 2.7

Text {
    font.family: "Open Sans"
    font.pixelSize: 16
}
