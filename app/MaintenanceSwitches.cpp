#include "app/MaintenanceSwitches.h"

#include "model/identity/IdentityMigration.h"
#include "model/identity/Orvane.h"

#include <memory>

std::optional<MaintenanceSwitches::Switch> MaintenanceSwitches::recognise(const std::string& argument)
{
    if (argument == "/u") return Switch::Unpublish;
    if (argument == "/i") return Switch::Refresh;
    if (argument == "/r") return Switch::ClearCacheMarks;
    if (argument == "/m") return Switch::Migrate;
    return std::nullopt;
}

std::optional<int> MaintenanceSwitches::run(int argc, char** argv)
{
    if (argc < 2)
        return std::nullopt;
    std::optional<Switch> job = recognise(argv[1]);
    if (!job)
        return std::nullopt;
    return run(*job);
}

// No exception is caught here: a switch that cannot do its job ends the
// process abnormally, which the installer sees.
int MaintenanceSwitches::run(Switch job)
{
    switch (job) {
    case Switch::Unpublish:
        // Removes this identity's certificates from the user's store.
        if (orvane::model::Orvane::hasInstallation()) {
            if (std::unique_ptr<orvane::model::Orvane> identity = orvane::model::Orvane::load())
                identity->unpublishCertificates();
        }
        break;
    case Switch::Refresh:
        // Lists the certificates at both services and publishes them. What
        // the refresh reports is not looked at: the installer only needs the
        // store brought into line when the services can be reached.
        if (orvane::model::Orvane::hasInstallation()) {
            if (std::unique_ptr<orvane::model::Orvane> identity = orvane::model::Orvane::load())
                identity->refreshCertificates();
        }
        break;
    case Switch::ClearCacheMarks:
        // Forgets the last-modified marks, so the next listing is complete.
        if (orvane::model::Orvane::hasInstallation()) {
            if (std::unique_ptr<orvane::model::Orvane> identity = orvane::model::Orvane::load())
                identity->clearCacheMarks();
        }
        break;
    case Switch::Migrate:
        // Moves an installation of the old layout into the new one.
        if (orvane::model::migrationNeeded())
            orvane::model::migrateOldInstallation();
        break;
    }
    return 0;
}
