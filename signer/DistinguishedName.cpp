#include "signer/DistinguishedName.h"

#include "signer/ObjectText.h"
#include "signer/OpenSslPtr.h"

#include <openssl/objects.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>

namespace valmora::signer {

std::string stringUpToZero(const ASN1_STRING* value)
{
    if (!value)
        return {};
    const unsigned char* data = ASN1_STRING_get0_data(value);
    const int length = ASN1_STRING_length(value);
    if (!data || length <= 0)
        return {};
    const auto* end = static_cast<const unsigned char*>(std::memchr(data, 0, static_cast<std::size_t>(length)));
    return std::string(reinterpret_cast<const char*>(data),
                       end ? static_cast<std::size_t>(end - data) : static_cast<std::size_t>(length));
}

DistinguishedName DistinguishedName::fromX509Name(const X509_NAME* name)
{
    DistinguishedName result;
    if (!name)
        return result;
    const int count = X509_NAME_entry_count(name);
    result.entries.reserve(static_cast<std::size_t>(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
        result.entries.push_back(NameEntry{objectText(X509_NAME_ENTRY_get_object(entry), true),
                                           stringUpToZero(X509_NAME_ENTRY_get_data(entry))});
    }
    unsigned char* der = nullptr;
    const int length = i2d_X509_NAME(name, &der);
    OpensslBytesPtr owner(der);
    if (length > 0 && der)
        result.der.assign(der, der + length);
    return result;
}

bool operator==(const DistinguishedName& left, const DistinguishedName& right)
{
    if (left.entries.size() != right.entries.size())
        return false;
    for (const NameEntry& entry : left.entries) {
        const bool found = std::any_of(right.entries.begin(), right.entries.end(), [&](const NameEntry& other) {
            return other.oid == entry.oid && other.value == entry.value;
        });
        if (!found)
            return false;
    }
    return true;
}

bool operator!=(const DistinguishedName& left, const DistinguishedName& right) { return !(left == right); }

std::ostream& operator<<(std::ostream& out, const DistinguishedName& name)
{
    for (const NameEntry& entry : name.entries) {
        const int nid = OBJ_txt2nid(entry.oid.c_str());
        const char* shortName = nid != NID_undef ? OBJ_nid2sn(nid) : nullptr;
        out << '/' << (shortName ? shortName : entry.oid.c_str()) << '=' << entry.value;
    }
    return out;
}

} // namespace valmora::signer
