#include "tests/store/StoreTestSupport.h"

#include "tests/signer/SignerTestSupport.h"

#include <stdexcept>

namespace orvane::test::store {

using orvane::test::signer::CertificateBuilder;
using orvane::test::signer::otherTestKey;
using orvane::test::signer::testKey;

SmallChain makeChain(const std::string& tag, bool expiredLeaf)
{
    SmallChain chain;
    const std::vector<std::pair<std::string, std::string>> rootName = {{"CN", "Root " + tag}};
    const std::vector<std::pair<std::string, std::string>> middleName = {{"CN", "Authority " + tag}};
    chain.root = CertificateBuilder()
                     .subject(rootName)
                     .issuer(rootName)
                     .serial(1)
                     .extension("basicConstraints", "critical,CA:TRUE")
                     .extension("keyUsage", "critical,keyCertSign,cRLSign")
                     .build();
    chain.intermediate = CertificateBuilder()
                             .subject(middleName)
                             .issuer(rootName)
                             .serial(2)
                             .publicKey(otherTestKey())
                             .extension("basicConstraints", "critical,CA:TRUE,pathlen:0")
                             .extension("keyUsage", "critical,keyCertSign,cRLSign")
                             .build();
    CertificateBuilder leaf;
    leaf.subject({{"CN", "Person " + tag}}).issuer(middleName).serial(3).signWith(otherTestKey());
    if (expiredLeaf)
        leaf.notBefore("200101000000Z").notAfter("210101000000Z");
    chain.leaf = leaf.build();
    return chain;
}

Certificate makeEndEntity(const std::string& commonName, long serial)
{
    return CertificateBuilder()
        .subject({{"CN", commonName}})
        .issuer({{"CN", "Issuer of tests"}})
        .serial(serial)
        .build();
}

} // namespace orvane::test::store
