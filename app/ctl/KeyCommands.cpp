#include "app/ctl/KeyCommands.h"

#include "app/ctl/CommandTable.h"
#include "model/identity/Orvane.h"
#include "signer/NarrowConverter.h"
#include "signer/SystemRepository.h"

namespace orvane::ctl {

int keyShow(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (!arguments.empty()) {
        err << "orvanectl: key show takes no arguments\n";
        return exitUsage;
    }
    if (!model::identityFileExists()) {
        err << "orvanectl: there is no identity document; this computer has no key pair yet\n";
        return exitFailure;
    }
    // Read only: no catalogue refresh (no network) and nothing written back.
    bool dirty = false;
    const std::unique_ptr<model::Orvane> identity = model::Orvane::read(dirty, model::Orvane::HierarchyRefresh());
    const std::wstring& keyName = identity->privateKeyReference;
    out << "key name: " << valmora::signer::narrowConverter.to_bytes(keyName) << "\n";
    if (keyName.empty()) {
        out << "in key store: no\n";
        return exitFailure;
    }
    valmora::signer::SystemRepository repository;
    const bool present = repository.hasNamedKey(keyName);
    out << "in key store: " << (present ? "yes" : "no") << "\n";
    if (!present)
        return exitFailure;
    out << repository.publicKeyOfNamedKey(keyName).toPem();
    return exitSuccess;
}

} // namespace orvane::ctl
