import QtQuick 2.7

// One page of a frame whose pages stand side by side: setting the frame's
// current page moves the wanted one into view at once. Pages out of view
// are hidden, so Tab stays within the page that shows.
Item {
    property int page
    property int currentPage
    x: (page - currentPage) * width
    width: parent ? parent.width : 0
    height: parent ? parent.height : 0
    visible: page === currentPage
}
