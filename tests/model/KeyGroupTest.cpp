// Key references and the groups that hold them (phones and cloud wallets),
// built from the services' listings with real ICP-Brasil certificates.

#include "model/identity/ActiveInstallationNotFound.h"
#include "model/keys/Device.h"
#include "model/harrier/HarrierInstallation.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/identity/Orvane.h"
#include "model/harrier/PasswordAndOtpAuthentication.h"
#include "model/harrier/SessionTokenAuthentication.h"
#include "model/keys/Wallet.h"
#include "tests/mock/FailureText.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>
#include <json/value.h>

using namespace orvane::model;
using namespace orvane::test;

namespace {

Json::Value listed(const std::string& base64, const std::string& keyName)
{
    Json::Value value(Json::objectValue);
    value["base64"] = base64;
    value["keyName"] = keyName;
    return value;
}

KeyReference withName(const char* certificate, const std::wstring& keyName)
{
    KeyReference reference(testCertificate(certificate), nullptr, &KestrelSignatureStrategy::instance());
    reference.keyName = keyName;
    return reference;
}

} // namespace

TEST(ListingJson, KeyReferencesTakeBlanksInTheBase64AndDevicesTheirDefaultNames)
{
    const std::string base64 = testCertificateBase64(kAdemir);
    std::string broken;
    for (std::size_t i = 0; i < base64.size(); i += 64)
        broken += base64.substr(i, 64) + (i % 128 ? "\r\n" : " \t\n");
    Json::Value reply(Json::objectValue);
    reply["deviceCode"] = "ABCDEFGHIJKL";
    reply["certificates"].append(listed(broken, "chave-\xc3\xa7"));
    const auto device = Device::fromJson(reply);
    EXPECT_EQ(device->fantasyName, L"ABCDEFGH");
    EXPECT_EQ(device->localName, L"kestrel no ABCDEFGH");
    ASSERT_EQ(device->keyReferences.size(), 1u);
    const KeyReference& reference = device->keyReferences[0];
    EXPECT_EQ(reference.certificate->fingerprint(), testCertificate(kAdemir)->fingerprint());
    EXPECT_EQ(reference.keyName, L"chave-\u00e7");
    EXPECT_EQ(reference.friendlyName, L"ADEMIR ALVES HENRIQUE:80767940130");
    EXPECT_FALSE(reference.hasKeyId());   // identifiers are the listing rule's business
    EXPECT_EQ(reference.group, device.get());
    EXPECT_EQ(reference.strategy, &KestrelSignatureStrategy::instance());

    // Text that is no certificate fails with the certificate's error, and
    // fails the whole device.
    reply["certificates"].append(listed("bm90IGEgY2VydGlmaWNhdGU=", "k"));
    EXPECT_THROW(Device::fromJson(reply), std::invalid_argument);
    reply["certificates"][1] = Json::Value(Json::objectValue);
    EXPECT_THROW(Device::fromJson(reply), std::invalid_argument);
}

TEST(KeyReferenceId, MadeOnceNeverReplacedAndReadLeniently)
{
    KeyReference reference = withName(kAdemir, L"k");
    reference.ensureKeyId(12345u);
    const KeyId made = reference.keyId;
    EXPECT_TRUE(reference.hasKeyId());
    reference.ensureKeyId(999u);
    reference.ensureKeyId();
    EXPECT_EQ(reference.keyId, made);

    // A hand-edited text: upper case reads the same, and what is past the
    // 40th digit is ignored.
    KeyId all;
    all.fill(0xFF);
    EXPECT_EQ(KeyReference::parseKeyId(std::string(40, 'F') + "01"), all);
}

TEST(ListingRule, IdentifiersFollowKeyNamesAcrossAListing)
{
    // Before the listing: "a" twice (the first wins) and "b" without one.
    KeyReference a1 = withName(kAdemir, L"a");
    a1.ensureKeyId(1u);
    KeyReference a2 = withName(kKabum, L"a");
    a2.ensureKeyId(2u);
    KeyReference b = withName(kKabum, L"b");
    const auto map = keyIdMap({&a1, &a2, &b});
    ASSERT_EQ(map.size(), 1u);
    EXPECT_EQ(map.at(L"a"), a1.keyId);

    // The new list: "a" comes back with another certificate, "b" had none.
    KeyReference newA = withName(kKabum, L"a");
    KeyReference newB = withName(kAdemir, L"b");
    restoreKeyIds({&newA, &newB}, map);
    EXPECT_EQ(newA.keyId, a1.keyId);
    EXPECT_FALSE(newB.hasKeyId());

    // A key that left and came back a listing later is not remembered.
    KeyReference back = withName(kKabum, L"a");
    restoreKeyIds({&back}, keyIdMap({&newB}));
    EXPECT_FALSE(back.hasKeyId());
}

TEST(KeyGroupKinds, DeviceBehaviour)
{
    Device device;
    device.setAuthenticationMode(L"push");
    EXPECT_EQ(device.authenticationMode(), L"kestrel");

    // Without an aggregate, or with one whose installations are all for
    // other addresses, there is no code to give.
    EXPECT_EQ(failureOf<ActiveInstallationNotFound>([&] { device.installationCode(); }),
              "Não foi encontrada a instalação para kestrel");
    Orvane aggregate;
    aggregate.kestrelInstallations.resize(2);
    aggregate.kestrelInstallations[0].targetUrl = orvane::test::kOtherKestrelUrl;
    device.setOwner(&aggregate);
    EXPECT_THROW(device.installationCode(), ActiveInstallationNotFound);
    aggregate.kestrelInstallations[1].targetUrl = orvane::test::kActiveKestrelUrl;
    aggregate.kestrelInstallations[1].installationCode = L"ACTIVE-CODE";
    EXPECT_EQ(device.installationCode(), L"ACTIVE-CODE");
}

TEST(KeyGroupKinds, WalletBehaviourThroughItsInstallation)
{
    auto installation = std::make_shared<HarrierInstallation>();
    installation->userName = L"Ana";
    installation->organizationName = L"Org";
    installation->desktopCode = L"DESK";
    Json::Value listing(Json::arrayValue);
    listing.append(listed(testCertificateBase64(kKabum), "0a;CN=AC"));
    installation->wallet = Wallet::fromJson(listing);
    installation->setOwner(nullptr);

    Wallet& wallet = *installation->wallet;
    EXPECT_EQ(wallet.name(), L"harrier de Ana (Org)");
    EXPECT_EQ(wallet.installationCode(), L"DESK");
    wallet.setAuthenticationMode(L"local");
    EXPECT_EQ(installation->authorizationMode, L"local");
    ASSERT_EQ(wallet.keyReferences.size(), 1u);
    EXPECT_EQ(wallet.keyReferences[0].strategy, &HarrierSignatureStrategy::instance());
    EXPECT_TRUE(Wallet::fromJson(Json::Value("not a list"))->keyReferences.empty());
}

TEST(SignatureStrategies, RefuseWithoutCredentialsAndNeverPretendToSign)
{
    KestrelSignatureStrategy& kestrel = KestrelSignatureStrategy::instance();
    HarrierSignatureStrategy& harrier = HarrierSignatureStrategy::instance();
    EXPECT_EQ(failureOf<BaseException>([&] { kestrel.openSession(L"k", nullptr); }),
              "\"KestrelSignatureStrategy::openSession\" not implemented");

    unsigned char hash[32] = {};
    unsigned char signature[256] = {};
    // Missing or wrong credentials: thrown by pointer.
    auto expectThrownPointer = [&](auto call) {
        try {
            call();
            ADD_FAILURE() << "no exception";
        } catch (BaseException* e) {
            EXPECT_STREQ(e->what(), "ptrUserAuthentication not set");
            delete e;
        }
    };
    expectThrownPointer([&] { kestrel.sign(L"k", L"", L"SHA256", hash, 32, signature, 256, nullptr); });
    SessionTokenAuthentication token(L"DESK", L"Orvane.x");
    PasswordAndOtpAuthentication password(L"DESK", L"Orvane.x");
    expectThrownPointer([&] { harrier.openSession(L"1;CN=x", &token); });
    expectThrownPointer([&] { harrier.sign(L"1;CN=x", L"", L"SHA256", hash, 32, signature, 256, &password); });

    // With the right credentials but no key to sign the request with, the
    // exchange fails before anything is sent, and the buffer is left alone.
    UserAuthentication plain(L"INST", L"Orvane.x");
    EXPECT_THROW(kestrel.sign(L"k", L"", L"SHA256", hash, 32, signature, 256, &plain), std::exception);
    EXPECT_THROW(harrier.openSession(L"1;CN=x", &password), std::exception);
    EXPECT_THROW(harrier.sign(L"1;CN=x", L"", L"SHA256", hash, 32, signature, 256, &token), std::exception);
    for (unsigned char byte : signature)
        ASSERT_EQ(byte, 0);
}
