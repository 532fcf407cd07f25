import QtQuick 2.7

// Main screen once this computer is registered: the certificates by key
// group. Its content arrives with the certificate models.
Item {
}
