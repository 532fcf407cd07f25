#pragma once

#include "signer/DateTimeInterval.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace valmora::signer {

// Identity fields that ICP-Brasil certificates carry in otherName entries of
// the subject alternative name. The strings hold the certificate's bytes as
// they stand: no conversion, no trimming, padding zeros and blanks kept.
struct IdentityDescription {
    virtual ~IdentityDescription() = default;
};

struct PersonDescription : IdentityDescription {
    std::string birthDate;  // ddmmyyyy, as written in the certificate
    std::string cpf;
    std::string pis;
    std::string rg;
    std::string rgIssuer;
    std::string cei;
    std::string voterId;
    std::string voterZone;
    std::string voterSection;
    std::string voterCity;
};

struct CompanyDescription : IdentityDescription {
    // The first five belong to the person responsible for the company.
    std::string birthDate;
    std::string cpf;
    std::string pis;
    std::string rg;
    std::string rgIssuer;
    std::string responsibleName;
    std::string cnpj;
    std::string cei;
};

enum IdentityKind : std::int32_t {
    NoIdentity = 0,
    PersonIdentity = 1,
    CompanyIdentity = 2,
};

// Everything the program shows of a certificate, computed in one go.
struct CertificateDetail {
    std::vector<std::wstring> policyDescriptions;
    std::string subjectDisplayName;
    std::string issuerDisplayName;
    DateTimeInterval validity;
    std::string email;
    std::vector<std::string> keyUsages;
    std::string serial;
    std::string fingerprint;
    std::int32_t identityKind = NoIdentity;
    std::shared_ptr<IdentityDescription> identity;  // PersonDescription or CompanyDescription; empty for kind 0
};

} // namespace valmora::signer
