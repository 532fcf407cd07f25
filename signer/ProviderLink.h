#pragma once

#include <string>

namespace valmora::signer {

// Which key provider holds the private key of a certificate entry, and under
// which container name.
struct ProviderLink {
    std::wstring providerName;
    std::wstring containerName;
};

// The provider that stands for the remote keys; a separate program that
// other programs reach through the "MY" entries linked to it.
constexpr const wchar_t* orvaneProviderName = L"Orvane Cryptographic Provider";

// The provider name that links an entry to a key in the agent's own key
// store (keys generated for a request, keys imported from PKCS#12).
constexpr const wchar_t* localKeyProviderName = L"Microsoft Enhanced RSA and AES Cryptographic Provider";

// Provider type and key specification of every link this agent writes.
constexpr unsigned providerTypeRsaAes = 24;
constexpr unsigned keySpecSignature = 2;

} // namespace valmora::signer
