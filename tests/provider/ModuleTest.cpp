// The module loaded into this test program, as a program that keeps it
// loaded sees it: what is published meanwhile, several threads, finalize
// and fork.

#include "tests/provider/ProviderFixture.h"

#include "signer/OpenSslPtr.h"

#include <dlfcn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <p11-kit/pkcs11.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
#include <cstring>
#include <thread>

namespace orvane::test {
namespace {

// The module's library, loaded for one case.
class LoadedModule {
public:
    LoadedModule()
        : library_(dlopen(ProviderTest::modulePath().c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        auto getList =
            library_ ? reinterpret_cast<CK_C_GetFunctionList>(dlsym(library_, "C_GetFunctionList")) : nullptr;
        if (!getList || getList(&functions_) != CKR_OK)
            throw std::runtime_error("cannot load the module");
    }
    ~LoadedModule() { dlclose(library_); }
    CK_FUNCTION_LIST* operator->() const { return functions_; }

private:
    void* library_;
    CK_FUNCTION_LIST* functions_ = nullptr;
};

class ModuleTest : public ProviderTest {
protected:
    void SetUp() override
    {
        ProviderTest::SetUp();
        CK_C_INITIALIZE_ARGS arguments{};
        arguments.flags = CKF_OS_LOCKING_OK;
        ASSERT_EQ(module->C_Initialize(&arguments), CKR_OK);
    }
    void TearDown() override
    {
        module->C_Finalize(nullptr);
        ProviderTest::TearDown();
    }

    std::vector<CK_SLOT_ID> slots()
    {
        CK_ULONG count = 0;
        EXPECT_EQ(module->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
        std::vector<CK_SLOT_ID> ids(count);
        EXPECT_EQ(module->C_GetSlotList(CK_TRUE, ids.data(), &count), CKR_OK);
        return ids;
    }
    // Phones come first.
    CK_SESSION_HANDLE openOnPhone()
    {
        CK_SESSION_HANDLE session = 0;
        EXPECT_EQ(module->C_OpenSession(slots().at(0), CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_OK);
        return session;
    }
    std::vector<CK_OBJECT_HANDLE> find(CK_SESSION_HANDLE session, CK_OBJECT_CLASS* objectClass = nullptr)
    {
        CK_ATTRIBUTE pattern{CKA_CLASS, objectClass, sizeof *objectClass};
        EXPECT_EQ(module->C_FindObjectsInit(session, objectClass ? &pattern : nullptr, objectClass ? 1 : 0), CKR_OK);
        std::vector<CK_OBJECT_HANDLE> found(64);
        CK_ULONG count = 0;
        EXPECT_EQ(module->C_FindObjects(session, found.data(), found.size(), &count), CKR_OK);
        EXPECT_EQ(module->C_FindObjectsFinal(session), CKR_OK);
        found.resize(count);
        return found;
    }
    valmora::signer::Bytes value(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type)
    {
        CK_ATTRIBUTE attribute{type, nullptr, 0};
        EXPECT_EQ(module->C_GetAttributeValue(session, object, &attribute, 1), CKR_OK);
        valmora::signer::Bytes bytes(attribute.ulValueLen);
        attribute.pValue = bytes.data();
        EXPECT_EQ(module->C_GetAttributeValue(session, object, &attribute, 1), CKR_OK);
        return bytes;
    }

    LoadedModule module;
};

TEST_F(ModuleTest, TwoThreadsSignAtOnceWithEachMechanismShape)
{
    approvePhones();
    const std::string text = "Procuração para representação junto à Receita Federal";
    // The DigestInfo of SHA-256 for CKM_RSA_PKCS, made by OpenSSL.
    unsigned char hash[32];
    EVP_Digest(text.data(), text.size(), hash, nullptr, EVP_sha256(), nullptr);
    std::vector<unsigned char> digestInfo = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                             0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    digestInfo.resize(digestInfo.size() + sizeof hash);
    std::memcpy(digestInfo.data() + digestInfo.size() - sizeof hash, hash, sizeof hash);

    struct Signing {
        CK_MECHANISM_TYPE mechanism;
        bool inParts;
        CK_RV rv = CKR_GENERAL_ERROR;
        std::vector<unsigned char> signature;
    };
    Signing signings[] = {{CKM_SHA256_RSA_PKCS, true, CKR_GENERAL_ERROR, {}},
                          {CKM_RSA_PKCS, false, CKR_GENERAL_ERROR, {}}};
    CK_OBJECT_CLASS privateKey = CKO_PRIVATE_KEY, certificateClass = CKO_CERTIFICATE;
    const CK_SESSION_HANDLE probe = openOnPhone();
    const CK_OBJECT_HANDLE key = find(probe, &privateKey).at(0);
    const valmora::signer::Bytes der = value(probe, find(probe, &certificateClass).at(0), CKA_VALUE);

    std::vector<std::thread> threads;
    for (Signing& signing : signings)
        threads.emplace_back([&, session = openOnPhone()] {
            CK_MECHANISM mechanism{signing.mechanism, nullptr, 0};
            CK_ULONG length = 0;
            if (module->C_SignInit(session, &mechanism, key) != CKR_OK)
                return;
            auto* data = reinterpret_cast<CK_BYTE*>(const_cast<char*>(text.data()));
            if (signing.inParts) {
                module->C_SignUpdate(session, data, 10);
                module->C_SignUpdate(session, data + 10, text.size() - 10);
                module->C_SignFinal(session, nullptr, &length);
                signing.signature.resize(length);
                signing.rv = module->C_SignFinal(session, signing.signature.data(), &length);
            } else {
                module->C_Sign(session, digestInfo.data(), digestInfo.size(), nullptr, &length);
                signing.signature.resize(length);
                signing.rv = module->C_Sign(session, digestInfo.data(), digestInfo.size(), signing.signature.data(),
                                            &length);
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    const unsigned char* cursor = der.data();
    const valmora::signer::X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
    ASSERT_NE(certificate, nullptr);
    for (const Signing& signing : signings) {
        ASSERT_EQ(signing.rv, CKR_OK) << signing.mechanism;
        const valmora::signer::EvpMdCtxPtr context(EVP_MD_CTX_new());
        EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, X509_get0_pubkey(certificate.get()));
        EXPECT_EQ(EVP_DigestVerify(context.get(), signing.signature.data(), signing.signature.size(),
                                   reinterpret_cast<const unsigned char*>(text.data()), text.size()),
                  1)
            << signing.mechanism;
    }
}

TEST_F(ModuleTest, FailuresGiveTheirReturnValues)
{
    CK_OBJECT_CLASS privateKey = CKO_PRIVATE_KEY;
    const CK_SESSION_HANDLE session = openOnPhone();
    const CK_OBJECT_HANDLE key = find(session, &privateKey).at(0);
    CK_BYTE notDigestInfo[36] = {};  // TLS 1.0's MD5 and SHA-1 side by side
    CK_BYTE signature[512];
    CK_ULONG length = sizeof signature;
    CK_MECHANISM raw{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(module->C_SignInit(session, &raw, key), CKR_OK);
    EXPECT_EQ(module->C_Sign(session, notDigestInfo, sizeof notDigestInfo, signature, &length), CKR_DATA_INVALID);

    CK_MECHANISM pss{CKM_SHA256_RSA_PKCS_PSS, nullptr, 0};
    EXPECT_EQ(module->C_SignInit(session, &pss, key), CKR_MECHANISM_INVALID);

    Json::Value offline(Json::objectValue);
    offline["path"] = "/push/";
    offline["drop"] = true;
    SandboxEnvironment::sandbox().addFault(offline);
    CK_MECHANISM sha256{CKM_SHA256_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(module->C_SignInit(session, &sha256, key), CKR_OK);
    length = sizeof signature;
    EXPECT_EQ(module->C_Sign(session, signature, 10, signature, &length), CKR_DEVICE_ERROR);

    // The cloud's keys show only after C_Login.
    CK_SESSION_HANDLE cloud = 0;
    ASSERT_EQ(module->C_OpenSession(slots().at(1), CKF_SERIAL_SESSION, nullptr, nullptr, &cloud), CKR_OK);
    EXPECT_TRUE(find(cloud, &privateKey).empty());
}

TEST_F(ModuleTest, FinalizeOrForkLeavesItUninitializedUntilInitializeIsCalledAgain)
{
    const CK_SESSION_HANDLE session = openOnPhone();
    EXPECT_FALSE(find(session).empty());
    const pid_t child = fork();
    if (child == 0) {
        CK_ULONG count = 0;
        const bool notYet = module->C_GetSlotList(CK_TRUE, nullptr, &count) == CKR_CRYPTOKI_NOT_INITIALIZED;
        const bool again = module->C_Initialize(nullptr) == CKR_OK
            && module->C_GetSlotList(CK_TRUE, nullptr, &count) == CKR_OK && count == 2;
        _exit(notYet && again ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    ASSERT_EQ(module->C_Finalize(nullptr), CKR_OK);
    CK_ULONG count = 0;
    EXPECT_EQ(module->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(module->C_CloseSession(session), CKR_CRYPTOKI_NOT_INITIALIZED);
    ASSERT_EQ(module->C_Initialize(nullptr), CKR_OK);
    EXPECT_FALSE(find(openOnPhone()).empty());
}

TEST_F(ModuleTest, WhatIsPublishedOrPairedWhileLoadedShowsAtTheNextLookAndSlotsKeepTheirIds)
{
    const CK_SESSION_HANDLE session = openOnPhone();
    const std::size_t objects = find(session).size();
    ASSERT_EQ(objects % 3, 0u);
    Json::Value key(Json::objectValue);
    key["deviceCode"] = SandboxEnvironment::sandbox().deviceCodesOf("ana").at(0);
    SandboxEnvironment::sandbox().post("/certificates", key);
    ASSERT_TRUE(identity().refreshCertificates().succeeded());
    EXPECT_EQ(find(session).size(), objects + 3);

    auto labels = [&] {
        std::map<CK_SLOT_ID, std::string> byId;
        for (CK_SLOT_ID slot : slots()) {
            CK_TOKEN_INFO info{};
            EXPECT_EQ(module->C_GetTokenInfo(slot, &info), CKR_OK);
            byId[slot] = std::string(reinterpret_cast<const char*>(info.label), sizeof info.label);
        }
        return byId;
    };
    const std::map<CK_SLOT_ID, std::string> before = labels();
    pairPhone(identity(), SandboxEnvironment::sandbox().deviceCodesOf("ana").at(1));
    ASSERT_TRUE(identity().refreshCertificates().succeeded());
    const std::map<CK_SLOT_ID, std::string> after = labels();
    ASSERT_EQ(after.size(), before.size() + 1);
    for (const auto& [slot, label] : before)
        EXPECT_EQ(after.count(slot) ? after.at(slot) : "", label) << slot;
}

TEST_F(ModuleTest, ACloudLoginOpensTheKeysOfItsPinOnly)
{
    const std::vector<CK_SLOT_ID> before = slots();
    ASSERT_TRUE(identity()
                    .addHarrierAccount({L"financeiro@horizonteazul.com.br", L"horizonte-azul", L"Horizonte#2024"})
                    .succeeded());
    ASSERT_TRUE(identity().refreshCertificates().succeeded());
    CK_SLOT_ID added = 0;
    for (CK_SLOT_ID slot : slots())
        if (std::find(before.begin(), before.end(), slot) == before.end())
            added = slot;
    CK_SESSION_HANDLE session = 0;
    ASSERT_EQ(module->C_OpenSession(added, CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_OK);

    std::string pin = "0000:135790";
    EXPECT_EQ(module->C_Login(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()), pin.size()),
              CKR_PIN_INCORRECT);
    pin = "4321:135790";  // the PIN of one of the wallet's two keys, and the account's code
    ASSERT_EQ(module->C_Login(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()), pin.size()), CKR_OK);

    CK_OBJECT_CLASS privateKey = CKO_PRIVATE_KEY;
    std::multiset<CK_RV> results;
    for (CK_OBJECT_HANDLE key : find(session, &privateKey)) {
        CK_MECHANISM sha256{CKM_SHA256_RSA_PKCS, nullptr, 0};
        CK_BYTE data[] = "nota fiscal 1234";
        CK_BYTE signature[512];
        CK_ULONG length = sizeof signature;
        ASSERT_EQ(module->C_SignInit(session, &sha256, key), CKR_OK);
        results.insert(module->C_Sign(session, data, sizeof data, signature, &length));
    }
    EXPECT_EQ(results, (std::multiset<CK_RV>{CKR_OK, CKR_USER_NOT_LOGGED_IN}));
}

} // namespace
} // namespace orvane::test
