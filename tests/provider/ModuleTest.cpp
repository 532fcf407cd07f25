// The module loaded into this test program, as a program that keeps it
// loaded sees it: what is published meanwhile, several threads, finalize
// and fork.

#include "tests/provider/ProviderFixture.h"

#include "tests/mock/OpenSslTool.h"

#include <dlfcn.h>
#include <p11-kit/pkcs11.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
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
    void TearDown() override { module->C_Finalize(nullptr); }

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
    // C_SignInit and one C_Sign; the return value and the signature.
    CK_RV sign(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key, std::string data,
               std::vector<unsigned char>* signature = nullptr)
    {
        CK_MECHANISM mechanism{type, nullptr, 0};
        const CK_RV init = module->C_SignInit(session, &mechanism, key);
        if (init != CKR_OK)
            return init;
        std::vector<unsigned char> room(512);
        CK_ULONG length = room.size();
        const CK_RV rv =
            module->C_Sign(session, reinterpret_cast<CK_BYTE*>(data.data()), data.size(), room.data(), &length);
        room.resize(length);
        if (signature)
            *signature = room;
        return rv;
    }

    LoadedModule module;
};

TEST_F(ModuleTest, TwoThreadsSignAtOnceWithEachMechanismShapeAndFailuresGiveTheirValues)
{
    approvePhones();
    const std::string text = "Procuração para representação junto à Receita Federal";
    // The DigestInfo of SHA-256 for CKM_RSA_PKCS, its hash made by openssl.
    const std::string digestInfo =
        std::string("\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20", 19)
        + openssl({"dgst", "-sha256", "-binary"}, text);
    CK_OBJECT_CLASS privateKey = CKO_PRIVATE_KEY, certificateClass = CKO_CERTIFICATE;
    const CK_SESSION_HANDLE probe = openOnPhone();
    const CK_OBJECT_HANDLE key = find(probe, &privateKey).at(0);
    std::vector<unsigned char> der(4096);
    CK_ATTRIBUTE value{CKA_VALUE, der.data(), der.size()};
    ASSERT_EQ(module->C_GetAttributeValue(probe, find(probe, &certificateClass).at(0), &value, 1), CKR_OK);
    der.resize(value.ulValueLen);

    // One signs in parts with the hash mechanism, the other the prepared
    // DigestInfo with the raw one.
    CK_RV rvs[2] = {CKR_GENERAL_ERROR, CKR_GENERAL_ERROR};
    std::vector<unsigned char> signatures[2];
    std::thread inParts([&, session = openOnPhone()] {
        CK_MECHANISM mechanism{CKM_SHA256_RSA_PKCS, nullptr, 0};
        auto* data = reinterpret_cast<CK_BYTE*>(const_cast<char*>(text.data()));
        CK_ULONG length = 512;
        signatures[0].resize(length);
        if (module->C_SignInit(session, &mechanism, key) == CKR_OK && module->C_SignUpdate(session, data, 10) == CKR_OK
            && module->C_SignUpdate(session, data + 10, text.size() - 10) == CKR_OK)
            rvs[0] = module->C_SignFinal(session, signatures[0].data(), &length);
        signatures[0].resize(length);
    });
    std::thread raw(
        [&, session = openOnPhone()] { rvs[1] = sign(session, CKM_RSA_PKCS, key, digestInfo, &signatures[1]); });
    inParts.join();
    raw.join();

    const std::string pem = openssl({"x509", "-inform", "DER"}, asText(der));
    for (int i : {0, 1}) {
        EXPECT_EQ(rvs[i], CKR_OK) << i;
        EXPECT_TRUE(opensslVerifies(pem, text, asText(signatures[i]))) << i;
    }

    // TLS 1.0's MD5 and SHA-1 side by side are no DigestInfo; PSS is not
    // offered; a phone out of reach is a device error.
    EXPECT_EQ(sign(probe, CKM_RSA_PKCS, key, std::string(36, '\0')), CKR_DATA_INVALID);
    EXPECT_EQ(sign(probe, CKM_SHA256_RSA_PKCS_PSS, key, text), CKR_MECHANISM_INVALID);
    sandbox().addFault(drop("/push/"));
    EXPECT_EQ(sign(probe, CKM_SHA256_RSA_PKCS, key, text), CKR_DEVICE_ERROR);

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
    key["deviceCode"] = sandbox().deviceCodesOf("ana").at(0);
    sandbox().post("/certificates", key);
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
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
    pairPhone(*identity, sandbox().deviceCodesOf("ana").at(1));
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    const std::map<CK_SLOT_ID, std::string> after = labels();
    ASSERT_EQ(after.size(), before.size() + 1);
    for (const auto& [slot, label] : before)
        EXPECT_EQ(after.count(slot) ? after.at(slot) : "", label) << slot;
}

TEST_F(ModuleTest, ACloudLoginOpensTheKeysOfItsPinOnly)
{
    const std::vector<CK_SLOT_ID> before = slots();
    ASSERT_TRUE(
        identity->addHarrierAccount({L"financeiro@horizonteazul.com.br", L"horizonte-azul", L"Horizonte#2024"})
            .succeeded());
    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    CK_SLOT_ID added = 0;
    for (CK_SLOT_ID slot : slots())
        if (std::find(before.begin(), before.end(), slot) == before.end())
            added = slot;
    CK_SESSION_HANDLE session = 0;
    ASSERT_EQ(module->C_OpenSession(added, CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_OK);

    std::string pin = "4321:135790";  // the PIN of one of the wallet's two keys, and the account's code
    ASSERT_EQ(module->C_Login(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()), pin.size()), CKR_OK);

    CK_OBJECT_CLASS privateKey = CKO_PRIVATE_KEY;
    std::multiset<CK_RV> results;
    for (CK_OBJECT_HANDLE key : find(session, &privateKey))
        results.insert(sign(session, CKM_SHA256_RSA_PKCS, key, "nota fiscal 1234"));
    EXPECT_EQ(results, (std::multiset<CK_RV>{CKR_OK, CKR_USER_NOT_LOGGED_IN}));
}

} // namespace
} // namespace orvane::test
