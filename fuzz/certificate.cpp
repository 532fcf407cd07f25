// A certificate as the services, the identity document and the stores give
// it: PEM, DER or base64 of DER, then everything the screens and the
// repositories read of it.
#include "signer/Certificate.h"
#include "signer/Exceptions.h"

#include <cstdint>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using valmora::signer::Certificate;
    Certificate certificate;
    try {
        certificate = Certificate::fromText(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const std::invalid_argument&) {
        return 0;
    }
    certificate.detail();
    certificate.isRoot();
    certificate.isIntermediateCa();
    certificate.isFinalCa();
    certificate.subjectName();
    certificate.issuerName();
    certificate.toPem();
    if (Certificate::fromDer(certificate.toDer()) != certificate)
        __builtin_trap();  // what the document stores must read back as the same certificate
    try {
        certificate.commonName();
        certificate.isVerifiedBy(certificate.publicKey());
    } catch (const valmora::signer::BaseException&) {
        // No common name, or a key that is not RSA: the documented failures.
    }
    return 0;
}
