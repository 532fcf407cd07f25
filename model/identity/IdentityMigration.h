#pragma once

namespace orvane::model {

// Moving an installation of the older layout ("Kestrel_Desktop" folders,
// root element <Installation>) into the present one. Run only by the "/m"
// switch; the graphical start never migrates by itself.

// True only when the old identity file exists and parses and the new one
// does not exist yet, so a second run does nothing.
bool migrationNeeded();

// Copies the old proxy file over the new one (the new one is removed
// first), merges the old configuration into the new one, and writes the new
// identity from the old: the key name, the facts of this host, and the old
// installation as the one Kestrel installation for the configured address,
// with each device's name prefixed by "kestrel no ". The old files stay.
// File failures raise std::filesystem::filesystem_error.
void migrateOldInstallation();

} // namespace orvane::model
