#pragma once

#include "signer/PublishedKey.h"
#include "signer/SystemRepository.h"

#include <vector>

namespace valmora::signer {

// Brings the "MY" store into line with `keys`: afterwards the entries linked
// to the Orvane provider are exactly the certificates of `keys`, each linked
// to its key's name (the last of two keys with one certificate wins).
// Entries linked to other providers or to none stay, unless their
// certificate is one of `keys`: the entry then takes the Orvane link. The
// work runs on a repository of its own over the stores of `stores`.
void publishCertificates(const std::vector<PublishedKey>& keys, const SystemRepository& stores);
// The same over the user's own stores.
void publishCertificates(const std::vector<PublishedKey>& keys);

// Removes the certificate of each key from whichever store holds it, linked
// or not. A certificate that no store holds ends the work with
// CertificateNotFoundException.
void unpublishCertificates(const std::vector<PublishedKey>& keys, const SystemRepository& stores);
void unpublishCertificates(const std::vector<PublishedKey>& keys);

} // namespace valmora::signer
