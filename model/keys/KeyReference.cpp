#include "model/keys/KeyReference.h"

#include "model/service/JsonFields.h"
#include "model/identity/XmlNodes.h"
#include "config/TextCodec.h"

#include "signer/Encoding.h"

#include <algorithm>
#include <chrono>
#include <locale>
#include <random>
#include <stdexcept>
#include <utility>

namespace orvane::model {

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Certificate names are mostly UTF-8, but older ones carry Latin-1 bytes;
// those are shown as such rather than failing the whole listing. Kept on
// purpose: one odd name must not hide every other certificate a person has.
std::wstring certificateText(const std::string& bytes)
{
    try {
        return fromUtf8(bytes);
    } catch (const std::range_error&) {
        return widenBytes(bytes);
    }
}

bool isBase64Alphabet(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+'
            || c == '/' || c == '=';
    });
}

// The document and the listings hold base64 of the DER. Decoding that
// directly spares the PEM and raw-DER attempts of the general parser, which
// matters for large files; anything else, and every failure, goes through
// the general parser so that its error is the one raised.
std::shared_ptr<valmora::signer::Certificate> parseCertificate(const std::string& text)
{
    using valmora::signer::Certificate;
    if (isBase64Alphabet(text)) {
        try {
            Certificate decoded = Certificate::fromDer(valmora::signer::base64Decode(std::string(text)));
            if (!decoded.isNull())
                return std::make_shared<Certificate>(std::move(decoded));
        } catch (const std::invalid_argument&) {
        }
    }
    return std::make_shared<Certificate>(Certificate::fromText(text));
}

} // namespace

KeyReference::KeyReference(std::shared_ptr<valmora::signer::Certificate> certificate, KeyGroup* group,
                           SignatureStrategy* strategy)
    : certificate(std::move(certificate))
    , group(group)
    , strategy(strategy)
{
}

KeyReference KeyReference::fromJson(const Json::Value& value, KeyGroup* group, SignatureStrategy* strategy)
{
    std::string base64 = json::narrowMember(value, "base64");
    const std::locale& classic = std::locale::classic();
    base64.erase(std::remove_if(base64.begin(), base64.end(),
                                [&](char c) { return std::isspace(c, classic) || std::isblank(c, classic); }),
                 base64.end());

    KeyReference reference(parseCertificate(base64), group, strategy);
    reference.keyName = json::wideMember(value, "keyName");
    reference.friendlyName = certificateText(reference.certificate->commonName());
    return reference;
}

KeyReference KeyReference::read(const pugi::xml_node& node, KeyGroup* group, SignatureStrategy* strategy,
                                bool& flag)
{
    KeyReference reference(parseCertificate(node.child("Certificate").text().get()), group, strategy);
    reference.keyName = xml::childText(node, "KeyName");
    reference.friendlyName = xml::childText(node, "FriendlyName");
    if (pugi::xml_node keyId = node.child("KeyID")) {
        reference.keyId = parseKeyId(keyId.text().get());
    } else if (!reference.hasKeyId()) {
        reference.ensureKeyId();
        flag = true;
    }
    return reference;
}

void KeyReference::write(pugi::xml_node& parent) const
{
    pugi::xml_node node = parent.append_child("KeyReference");
    xml::appendTextElement(node, "KeyName", keyName);
    xml::appendTextElement(node, "FriendlyName", friendlyName);
    node.append_child("Certificate").text().set(valmora::signer::base64Encode(certificate->toDer()).c_str());
    node.append_child("KeyID").text().set(keyIdText(keyId).c_str());
}

bool KeyReference::hasKeyId() const
{
    return std::any_of(keyId.begin(), keyId.end(), [](std::uint8_t b) { return b != 0; });
}

void KeyReference::ensureKeyId()
{
    if (hasKeyId())
        return;
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    ensureKeyId(static_cast<std::uint32_t>(nanoseconds.count()));
}

void KeyReference::ensureKeyId(std::uint32_t seed)
{
    if (hasKeyId())
        return;
    std::mt19937 generator(seed);
    // Ten draws of 32 bits, two bytes from each, lowest byte first.
    for (std::size_t i = 0; i < keyId.size(); i += 2) {
        const std::uint32_t value = generator();
        keyId[i] = static_cast<std::uint8_t>(value & 0xFF);
        keyId[i + 1] = static_cast<std::uint8_t>((value >> 8) & 0xFF);
    }
}

std::string KeyReference::keyIdText(const KeyId& keyId)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(keyId.size() * 2);
    for (std::uint8_t b : keyId) {
        text += digits[b >> 4];
        text += digits[b & 0x0F];
    }
    return text;
}

KeyId KeyReference::parseKeyId(const std::string& text)
{
    KeyId keyId{};
    const std::size_t pairs = std::min(text.size() / 2, keyId.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        // Like a base-16 number conversion of the pair: leading hexadecimal
        // digits count, the first other character ends the number.
        unsigned value = 0;
        for (std::size_t k = 0; k < 2; ++k) {
            const int digit = hexDigit(text[2 * i + k]);
            if (digit < 0)
                break;
            value = value * 16 + static_cast<unsigned>(digit);
        }
        keyId[i] = static_cast<std::uint8_t>(value & 0xFF);
    }
    return keyId;
}

bool KeyReference::sameContent(const KeyReference& other) const
{
    const bool sameCertificate = (!certificate && !other.certificate)
        || (certificate && other.certificate && *certificate == *other.certificate);
    return keyName == other.keyName && friendlyName == other.friendlyName && sameCertificate
        && keyId == other.keyId;
}

KeyIdMap keyIdMap(const std::vector<KeyReference*>& references)
{
    KeyIdMap keyIds;
    for (const KeyReference* reference : references)
        if (reference->hasKeyId())
            keyIds.emplace(reference->keyName, reference->keyId);  // an earlier name is kept
    return keyIds;
}

void restoreKeyIds(const std::vector<KeyReference*>& references, const KeyIdMap& keyIds)
{
    for (KeyReference* reference : references) {
        auto found = keyIds.find(reference->keyName);
        if (found != keyIds.end())
            reference->keyId = found->second;
    }
}

} // namespace orvane::model
