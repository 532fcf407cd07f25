#pragma once

#include "model/keys/Wallet.h"

#include <pugixml.hpp>

#include <memory>
#include <string>

namespace orvane::model {

class Orvane;

// This computer's registration under one Harrier account. Held through a
// shared pointer, because its wallet and the screens refer to it.
struct HarrierInstallation {
    // harrierBaseUrl() at registration.
    std::wstring targetUrl;
    std::wstring userId;
    std::wstring userName;
    std::wstring organizationId;
    std::wstring organizationName;
    // This computer's code at the service.
    std::wstring desktopCode;
    // "local" or "push"; empty until the service has told.
    std::wstring authorizationMode;
    std::shared_ptr<Wallet> wallet;
    Orvane* owner = nullptr;

    // A <HarrierInstallation> element; its wallet's failures pass through.
    static std::shared_ptr<HarrierInstallation> read(const pugi::xml_node& node);
    // Appends a <HarrierInstallation> element to `parent`.
    void write(pugi::xml_node& parent) const;

    // Sets the aggregate here, then wires the wallet to this installation.
    void setOwner(Orvane* aggregate);

    // The same account at the same service: address, user and organisation.
    bool operator==(const HarrierInstallation& other) const;
    bool operator!=(const HarrierInstallation& other) const { return !(*this == other); }
};

} // namespace orvane::model
