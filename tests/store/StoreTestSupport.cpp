#include "tests/store/StoreTestSupport.h"

#include "signer/pkcs11/Pkcs11Module.h"
#include "signer/pkcs11/Pkcs11Session.h"
#include "tests/signer/SignerTestSupport.h"

#include <stdexcept>

namespace orvane::test::store {

using orvane::test::signer::CertificateBuilder;
using orvane::test::signer::otherTestKey;
using orvane::test::signer::testKey;
using valmora::signer::Pkcs11Module;
using valmora::signer::Pkcs11Session;

CK_RV readTokenAttribute(const valmora::signer::Pkcs11Settings& settings, const std::string& label,
                         CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type, Bytes& value)
{
    Pkcs11Module module(settings.modulePath);
    CK_FUNCTION_LIST* f = module.functions();
    CK_ULONG count = 0;
    f->C_GetSlotList(CK_TRUE, nullptr, &count);
    std::vector<CK_SLOT_ID> slots(count);
    f->C_GetSlotList(CK_TRUE, slots.data(), &count);
    std::string padded = settings.tokenLabel;
    padded.resize(32, ' ');
    for (CK_SLOT_ID slot : slots) {
        CK_TOKEN_INFO info{};
        if (f->C_GetTokenInfo(slot, &info) != CKR_OK
            || std::string(reinterpret_cast<const char*>(info.label), 32) != padded)
            continue;
        Pkcs11Session session(f, slot);
        CK_ATTRIBUTE query[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                                {CKA_LABEL, const_cast<char*>(label.data()), label.size()}};
        f->C_FindObjectsInit(session.handle(), query, 2);
        CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
        CK_ULONG found = 0;
        f->C_FindObjects(session.handle(), &object, 1, &found);
        f->C_FindObjectsFinal(session.handle());
        if (found == 0)
            return CKR_OBJECT_HANDLE_INVALID;
        CK_ATTRIBUTE attribute{type, nullptr, 0};
        const CK_RV sizeRv = f->C_GetAttributeValue(session.handle(), object, &attribute, 1);
        if (sizeRv != CKR_OK)
            return sizeRv;
        value.resize(attribute.ulValueLen);
        attribute.pValue = value.data();
        return f->C_GetAttributeValue(session.handle(), object, &attribute, 1);
    }
    throw std::runtime_error("token not found: " + settings.tokenLabel);
}

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
