#pragma once

#include "signer/Certificate.h"

#include <json/value.h>
#include <pugixml.hpp>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orvane::model {

class KeyGroup;
class Orvane;
class SignatureStrategy;

// A local identifier of a key: 20 bytes, all zero while none is assigned.
using KeyId = std::array<std::uint8_t, 20>;

// What this computer knows of one private key that it cannot touch: its name
// at the service, its certificate, a local identifier, and the strategy that
// can sign with it. A plain value; copies share the certificate.
class KeyReference {
public:
    KeyReference(std::shared_ptr<valmora::signer::Certificate> certificate, KeyGroup* group,
                 SignatureStrategy* strategy);

    // One element of a service listing: "base64" (blanks and line breaks
    // allowed) and "keyName". The identifier stays zero.
    static KeyReference fromJson(const Json::Value& value, KeyGroup* group, SignatureStrategy* strategy);

    // A <KeyReference> element. Without a <KeyID> element an identifier is
    // generated and `flag` is set; what the flag means is the caller's.
    // A certificate text that is no certificate raises the certificate's
    // own error.
    static KeyReference read(const pugi::xml_node& node, KeyGroup* group, SignatureStrategy* strategy,
                             bool& flag);
    // Appends a <KeyReference> element to `parent`.
    void write(pugi::xml_node& parent) const;

    bool hasKeyId() const;
    // Gives the reference an identifier if it has none, from a generator
    // seeded with the monotonic clock.
    void ensureKeyId();
    // The same with the seed given, so the generation can be checked.
    void ensureKeyId(std::uint32_t seed);

    // 40 lower-case hexadecimal digits, as the document holds it.
    static std::string keyIdText(const KeyId& keyId);
    // The document's form back: pairs of digits from the front, at most 20
    // bytes; a last odd digit is ignored, the rest stays zero.
    static KeyId parseKeyId(const std::string& text);

    // Same key name, display name, certificate and identifier; the pointers
    // take no part.
    bool sameContent(const KeyReference& other) const;

    std::wstring keyName;
    std::wstring friendlyName;
    std::shared_ptr<valmora::signer::Certificate> certificate;
    KeyId keyId{};
    KeyGroup* group = nullptr;
    Orvane* owner = nullptr;
    SignatureStrategy* strategy = nullptr;
};

// Carrying identifiers across a listing, which replaces a group's references
// wholesale: collect them by key name before, put them back after.
using KeyIdMap = std::map<std::wstring, KeyId>;
// References with an identifier, by key name; the first of a name wins.
KeyIdMap keyIdMap(const std::vector<KeyReference*>& references);
void restoreKeyIds(const std::vector<KeyReference*>& references, const KeyIdMap& keyIds);

} // namespace orvane::model
