#pragma once

#include <openssl/types.h>

#include <ostream>
#include <string>
#include <vector>

namespace valmora::signer {

struct NameEntry {
    std::string oid;    // attribute type in dotted numbers
    std::string value;  // the attribute's bytes up to the first zero byte, whatever the string type
};

// Parsed X.509 name.
struct DistinguishedName {
    std::vector<NameEntry> entries;
    std::vector<unsigned char> der;

    static DistinguishedName fromX509Name(const X509_NAME* name);
};

// Same number of entries, and each entry of the left stands in the right
// with the same type and value, in any position. The DER takes no part:
// two encodings of one name compare equal.
bool operator==(const DistinguishedName& left, const DistinguishedName& right);
bool operator!=(const DistinguishedName& left, const DistinguishedName& right);

// "/C=BR/O=ICP-Brasil/CN=..." with OpenSSL's short names, or the dotted type
// where OpenSSL has no name for it.
std::ostream& operator<<(std::ostream& out, const DistinguishedName& name);

// The bytes of an X.509 string up to its first zero byte.
std::string stringUpToZero(const ASN1_STRING* value);

} // namespace valmora::signer
