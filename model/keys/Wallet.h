#pragma once

#include "model/keys/KeyGroup.h"
#include "model/keys/KeyReference.h"

#include <json/value.h>
#include <pugixml.hpp>

#include <memory>
#include <string>
#include <vector>

namespace orvane::model {

struct HarrierInstallation;

// The cloud store of one Harrier account; each Harrier installation has
// exactly one. Held by a shared pointer and never copied, since its key
// references point back to it.
class Wallet final : public KeyGroup {
public:
    Wallet() = default;
    Wallet(const Wallet&) = delete;
    Wallet& operator=(const Wallet&) = delete;

    // The "certificados" array of a wallet listing; anything else gives an
    // empty wallet.
    static std::shared_ptr<Wallet> fromJson(const Json::Value& array);
    // A <Wallet> element. A key without <KeyID> makes the whole file
    // unreadable: BaseException "Key Reference node está com dados
    // incompletos".
    static std::shared_ptr<Wallet> read(const pugi::xml_node& node);
    // Appends a <Wallet> element to `parent`.
    void write(pugi::xml_node& parent) const;

    // Sets the back-pointer and hands the installation's aggregate to every
    // key reference, so it runs after the installation's own owner is set.
    void setInstallation(HarrierInstallation* owningInstallation);
    std::vector<KeyReference*> allKeyReferences();

    // "harrier de " + user name + " (" + organisation name + ")".
    std::wstring name() const override;
    std::wstring installationCode() const override;
    std::wstring authenticationMode() const override;
    void setAuthenticationMode(const std::wstring& mode) override;
    std::int32_t type() const override;

    // The service's mark for the next conditional listing.
    std::wstring lastModified;
    std::vector<KeyReference> keyReferences;
    HarrierInstallation* installation = nullptr;
};

} // namespace orvane::model
