#pragma once

#include "model/keys/KeyGroup.h"
#include "model/keys/KeyReference.h"

#include <json/value.h>
#include <pugixml.hpp>

#include <memory>
#include <string>
#include <vector>

namespace orvane::model {

class Orvane;

// A phone paired through the Kestrel service; its keys live on the phone.
// Always held by a shared pointer: its key references point back to it, so
// it is neither copied nor moved.
class Device final : public KeyGroup {
public:
    Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // One element of a certificate listing: "deviceCode", "deviceName" and
    // "certificates" (absent gives no keys). Default names are applied.
    static std::shared_ptr<Device> fromJson(const Json::Value& value);
    // A <Device> element; default names are applied, and a key without
    // <KeyID> gets one and sets `dirty`, so the repair reaches the file.
    static std::shared_ptr<Device> read(const pugi::xml_node& node, bool& dirty);
    // Appends a <Device> element to `parent`.
    void write(pugi::xml_node& parent) const;

    // An empty fantasy name becomes the first 8 characters of the code; an
    // empty local name becomes "kestrel no " and the fantasy name.
    void applyDefaultNames();

    std::vector<KeyReference*> allKeyReferences();
    void setOwner(Orvane* aggregate);

    std::wstring name() const override;
    // The code of the active Kestrel installation; throws
    // ActiveInstallationNotFound when the configuration has moved away.
    std::wstring installationCode() const override;
    std::wstring authenticationMode() const override;
    void setAuthenticationMode(const std::wstring& mode) override;
    std::int32_t type() const override;

    // The service's device code: renames, merges and cancellations match on it.
    std::wstring hash;
    // What the phone calls itself.
    std::wstring fantasyName;
    // What the user calls it on this computer; the group's display name.
    std::wstring localName;
    std::vector<KeyReference> keyReferences;
    Orvane* owner = nullptr;
};

} // namespace orvane::model
