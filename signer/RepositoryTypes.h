#pragma once

// The small records that pass through the Repository interface.

#include "signer/Certificate.h"
#include "signer/PrivateKey.h"
#include "signer/PublicKey.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace valmora::signer {

// A visitor's answer.
enum class Then : std::int32_t {
    Continue = 0,
    Stop = 1,
};

// Categories of certificates to visit (and, in the system repository,
// stores to open).
using RepositoryFilter = std::uint32_t;

constexpr RepositoryFilter EndEntityFilterMask = 0x0F;       // any of the end-entity bits
constexpr RepositoryFilter PersonalFilter = 0x01;            // end entities ("MY")
constexpr RepositoryFilter AddressBookFilter = 0x02;         // end entities ("AddressBook")
constexpr RepositoryFilter FinalCaFilter = 0x10;             // CAs that may not have sub-CAs
constexpr RepositoryFilter IntermediateCaFilter = 0x20;      // CAs below a root that may have sub-CAs
constexpr RepositoryFilter RootFilter = 0x40;                // roots
constexpr RepositoryFilter CaStoreFilter = 0x80;             // no category; the "CA" store
constexpr RepositoryFilter AllFilter = 255;
constexpr RepositoryFilter AnyCaFilter = 240;

// Whether a certificate falls in one of the categories of `filter`.
bool passesFilter(const Certificate& certificate, RepositoryFilter filter);

using CertificateVisitor = std::function<Then(const Certificate&)>;
using CertificateAction = std::function<void(const Certificate&)>;
using CertificatePredicate = std::function<bool(const Certificate&)>;

// A generated key: its public parts, then the repository's handle on it.
struct KeyPair : PublicKey {
    PrivateKeyHandle privateKey;
};

enum ChainStatus : std::int32_t {
    ChainComplete = 0,       // up to a root
    ChainPartial = 1,        // the top authority is missing
    ChainNotTimeValid = 2,   // a certificate of the path is outside its validity
    ChainOtherError = 999,
};

struct CertificateChain {
    std::int32_t status = ChainOtherError;
    std::vector<Certificate> certificates;  // the starting certificate first
};

// One attribute of a request's subject.
struct SubjectEntry {
    std::string name;     // attribute name as OpenSSL knows it ("CN", "O", "emailAddress"...)
    std::string unused;   // carried along; nothing reads it
    std::string value;
};

// One alternative name of a request.
struct AltNameEntry {
    std::string extension;      // only the subject alternative name counts
    std::string kind;           // decimal number of the GeneralName alternative, 0-8
    std::string otherNameType;  // OID or name of an otherName
    std::string value;
    std::vector<SubjectEntry> directoryEntries;  // for a directoryName
};

} // namespace valmora::signer
