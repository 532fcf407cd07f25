import QtQuick 2.7

AnimatedImage {
    width: 202
    height: 218
    fillMode: Image.PreserveAspectFit
    source: "images/espera.gif"
    playing: visible
}
