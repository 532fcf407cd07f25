#include "model/identity/ActiveInstallationNotFound.h"
#include "model/keys/Device.h"
#include "model/harrier/HarrierInstallation.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/identity/Orvane.h"
#include "model/harrier/PasswordAndOtpAuthentication.h"
#include "model/harrier/SessionTokenAuthentication.h"
#include "model/keys/Wallet.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>
#include <json/value.h>

#include <memory>

using namespace orvane::model;
using orvane::test::testCertificateBase64;

namespace {

Json::Value deviceReply(const std::string& code, const std::string& name, int keys)
{
    Json::Value value(Json::objectValue);
    value["deviceCode"] = code;
    if (!name.empty())
        value["deviceName"] = name;
    if (keys >= 0) {
        Json::Value certificates(Json::arrayValue);
        const auto names = orvane::test::testCertificateNames();
        for (int i = 0; i < keys; ++i) {
            Json::Value key(Json::objectValue);
            key["base64"] = testCertificateBase64(names[static_cast<std::size_t>(i)]);
            key["keyName"] = "key-" + std::to_string(i);
            certificates.append(key);
        }
        value["certificates"] = certificates;
    }
    return value;
}

} // namespace

TEST(DeviceJson, DefaultNamesFromTheDeviceCode)
{
    auto longCode = Device::fromJson(deviceReply("ABCDEFGHIJKL", "", -1));
    EXPECT_EQ(longCode->fantasyName, L"ABCDEFGH");
    EXPECT_EQ(longCode->localName, L"kestrel no ABCDEFGH");
    EXPECT_TRUE(longCode->keyReferences.empty());

    auto shortCode = Device::fromJson(deviceReply("ABC", "", 0));
    EXPECT_EQ(shortCode->fantasyName, L"ABC");
    EXPECT_EQ(shortCode->localName, L"kestrel no ABC");

    auto named = Device::fromJson(deviceReply("C0DE", "Galaxy S\xc3\xa9rie", 2));
    EXPECT_EQ(named->hash, L"C0DE");
    EXPECT_EQ(named->fantasyName, L"Galaxy S\u00e9rie");
    EXPECT_EQ(named->name(), L"kestrel no Galaxy S\u00e9rie");
    ASSERT_EQ(named->keyReferences.size(), 2u);
    for (const KeyReference& reference : named->keyReferences) {
        EXPECT_EQ(reference.group, named.get());
        EXPECT_EQ(reference.strategy, &KestrelSignatureStrategy::instance());
    }
    EXPECT_EQ(named->keyReferences[1].keyName, L"key-1");
}

TEST(DeviceJson, ABrokenCertificateFailsTheWholeDevice)
{
    Json::Value reply = deviceReply("X", "Y", 1);
    reply["certificates"][0]["base64"] = "AAAA";
    EXPECT_THROW(Device::fromJson(reply), std::invalid_argument);
}

TEST(KeyGroupKinds, DeviceBehaviour)
{
    auto device = Device::fromJson(deviceReply("PHONE", "Moto", 0));
    EXPECT_EQ(device->type(), KeyGroup::Smartphone);
    EXPECT_EQ(device->authenticationMode(), L"kestrel");
    device->setAuthenticationMode(L"push");
    EXPECT_EQ(device->authenticationMode(), L"kestrel");

    // Without an aggregate, or with one whose installations are all for
    // other addresses, there is no code to give.
    try {
        device->installationCode();
        FAIL() << "expected ActiveInstallationNotFound";
    } catch (const ActiveInstallationNotFound& e) {
        EXPECT_STREQ(e.what(), "Não foi encontrada a instalação para kestrel");
    }
    Orvane aggregate;
    KestrelInstallation other;
    other.targetUrl = orvane::test::kOtherKestrelUrl;
    other.installationCode = L"OTHER";
    aggregate.kestrelInstallations.push_back(other);
    device->setOwner(&aggregate);
    EXPECT_THROW(device->installationCode(), ActiveInstallationNotFound);

    KestrelInstallation active;
    active.targetUrl = orvane::test::kActiveKestrelUrl;
    active.installationCode = L"ACTIVE-CODE";
    aggregate.kestrelInstallations.push_back(active);
    EXPECT_EQ(device->installationCode(), L"ACTIVE-CODE");
}

TEST(KeyGroupKinds, WalletBehaviourThroughItsInstallation)
{
    Json::Value listing(Json::arrayValue);
    Json::Value key(Json::objectValue);
    key["base64"] = testCertificateBase64("ecnpj-a1-kabum-certisign-rfb-g5-2019");
    key["keyName"] = "0a;CN=AC";
    listing.append(key);

    auto installation = std::make_shared<HarrierInstallation>();
    installation->userName = L"Ana";
    installation->organizationName = L"Org";
    installation->desktopCode = L"DESK";
    installation->wallet = Wallet::fromJson(listing);
    Orvane aggregate;
    installation->setOwner(&aggregate);

    Wallet& wallet = *installation->wallet;
    EXPECT_EQ(wallet.name(), L"harrier de Ana (Org)");
    installation->organizationName.clear();
    EXPECT_EQ(wallet.name(), L"harrier de Ana ()");
    EXPECT_EQ(wallet.type(), KeyGroup::Cloud);
    EXPECT_EQ(wallet.installationCode(), L"DESK");
    EXPECT_EQ(wallet.authenticationMode(), L"");
    wallet.setAuthenticationMode(L"local");
    EXPECT_EQ(installation->authorizationMode, L"local");
    ASSERT_EQ(wallet.keyReferences.size(), 1u);
    EXPECT_EQ(wallet.keyReferences[0].owner, &aggregate);
    EXPECT_EQ(wallet.keyReferences[0].group, &wallet);
    EXPECT_EQ(wallet.keyReferences[0].strategy, &HarrierSignatureStrategy::instance());

    EXPECT_TRUE(Wallet::fromJson(Json::Value("not a list"))->keyReferences.empty());
}

TEST(HarrierInstallationEquality, AddressUserAndOrganisationOnly)
{
    HarrierInstallation a;
    a.targetUrl = L"h";
    a.userId = L"u";
    a.organizationId = L"o";
    HarrierInstallation b = a;
    b.userName = L"other";
    b.authorizationMode = L"push";
    EXPECT_TRUE(a == b);
    b.organizationId = L"o2";
    EXPECT_FALSE(a == b);
    b = a;
    b.userId = L"u2";
    EXPECT_FALSE(a == b);
    b = a;
    b.targetUrl = L"h2";
    EXPECT_FALSE(a == b);
}

TEST(SignatureStrategies, RefuseWithoutCredentialsAndNeverPretendToSign)
{
    KestrelSignatureStrategy& kestrel = KestrelSignatureStrategy::instance();
    HarrierSignatureStrategy& harrier = HarrierSignatureStrategy::instance();
    EXPECT_EQ(kestrel.strategyKind(), 0);
    EXPECT_EQ(harrier.strategyKind(), 2);

    try {
        kestrel.openSession(L"k", nullptr);
        FAIL();
    } catch (const BaseException& e) {
        EXPECT_STREQ(e.what(), "\"KestrelSignatureStrategy::openSession\" not implemented");
    }

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
