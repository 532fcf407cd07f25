#include "tests/store/StoreTestSupport.h"

#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace orvane::test::store {

using orvane::test::signer::CertificateBuilder;
using orvane::test::signer::otherTestKey;

SmallChain makeChain(const std::string& tag, bool expiredLeaf)
{
    const std::vector<std::pair<std::string, std::string>> rootName = {{"CN", "Root " + tag}};
    const std::vector<std::pair<std::string, std::string>> middleName = {{"CN", "Authority " + tag}};
    CertificateBuilder leaf;
    leaf.subject({{"CN", "Person " + tag}}).issuer(middleName).serial(3).signWith(otherTestKey());
    if (expiredLeaf)
        leaf.notBefore("200101000000Z").notAfter("210101000000Z");
    return {CertificateBuilder().subject(rootName).extension("basicConstraints", "critical,CA:TRUE").build(),
            CertificateBuilder()
                .subject(middleName)
                .issuer(rootName)
                .serial(2)
                .publicKey(otherTestKey())
                .extension("basicConstraints", "critical,CA:TRUE,pathlen:0")
                .build(),
            leaf.build()};
}

std::wstring linkOf(CertificateStore& stores, const Certificate& certificate, const std::string& store)
{
    const std::optional<valmora::signer::StoreEntry> entry = stores.find(store, certificate.fingerprint());
    if (!entry)
        return L"(none)";
    if (!entry->provider)
        return L"(no link)";
    const valmora::signer::KeyProviderInfo& link = *entry->provider;
    return link.containerName + L"|" + link.providerName + L"|" + std::to_wstring(link.providerType) + L"|"
           + std::to_wstring(link.flags) + L"|" + std::to_wstring(link.keySpec);
}

unsigned modeOf(const std::string& path)
{
    struct stat info {};
    EXPECT_EQ(0, ::stat(path.c_str(), &info)) << path;
    return info.st_mode & 07777;
}

Certificate makeEndEntity(const std::string& commonName, long serial)
{
    return CertificateBuilder().subject({{"CN", commonName}}).issuer({{"CN", "Issuer of tests"}}).serial(serial).build();
}

} // namespace orvane::test::store
