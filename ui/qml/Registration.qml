import QtQuick 2.7

// First-run wizard, shown while no installation exists. Its pages arrive with
// the registration models.
Item {
}
