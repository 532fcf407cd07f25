#include "provider/signing/DigestInfo.h"

#include <algorithm>
#include <iterator>

namespace orvane::provider {

namespace {

struct KnownHash {
    const char* name;
    std::size_t length;
    // The DER of the DigestInfo up to the hash: SEQUENCE { SEQUENCE { OID,
    // NULL }, OCTET STRING header }.
    valmora::signer::Bytes prefix;
};

const std::vector<KnownHash>& knownHashes()
{
    static const std::vector<KnownHash> hashes = {
        {"SHA1", 20, {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14}},
        {"SHA224", 28, {0x30, 0x2d, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x04,
                        0x05, 0x00, 0x04, 0x1c}},
        {"SHA256", 32, {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01,
                        0x05, 0x00, 0x04, 0x20}},
        {"SHA384", 48, {0x30, 0x41, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02,
                        0x05, 0x00, 0x04, 0x30}},
        {"SHA512", 64, {0x30, 0x51, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03,
                        0x05, 0x00, 0x04, 0x40}},
    };
    return hashes;
}

} // namespace

std::optional<DigestInfo> DigestInfo::parse(const unsigned char* data, std::size_t length)
{
    if (!data)
        return std::nullopt;
    for (const KnownHash& known : knownHashes()) {
        if (length != known.prefix.size() + known.length
            || !std::equal(known.prefix.begin(), known.prefix.end(), data))
            continue;
        return DigestInfo{known.name, valmora::signer::Bytes(data + known.prefix.size(), data + length)};
    }
    return std::nullopt;
}

valmora::signer::Bytes DigestInfo::encode() const
{
    for (const KnownHash& known : knownHashes()) {
        if (hashName != known.name)
            continue;
        valmora::signer::Bytes der = known.prefix;
        der.insert(der.end(), hash.begin(), hash.end());
        return der;
    }
    return {};
}

} // namespace orvane::provider
