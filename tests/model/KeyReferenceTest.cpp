#include "model/keys/KeyReference.h"

#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "config/TextCodec.h"
#include "tests/model/IdentityFixtures.h"

#include <gtest/gtest.h>
#include <json/value.h>

#include <set>
#include <stdexcept>

using orvane::model::KeyId;
using orvane::model::KeyReference;
using orvane::model::KestrelSignatureStrategy;
using orvane::test::testCertificate;
using orvane::test::testCertificateBase64;

namespace {

const char* const kAdemir = "ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015";
const char* const kKabum = "ecnpj-a1-kabum-certisign-rfb-g5-2019";

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

TEST(KeyReferenceJson, BuildsFromAListingEntryWithBlanksInTheBase64)
{
    const std::string base64 = testCertificateBase64(kAdemir);
    std::string broken;
    for (std::size_t i = 0; i < base64.size(); i += 64)
        broken += base64.substr(i, 64) + (i % 128 ? "\r\n" : " \t\n");

    auto* strategy = &KestrelSignatureStrategy::instance();
    const KeyReference plain = KeyReference::fromJson(listed(base64, "chave-\xc3\xa7"), nullptr, strategy);
    const KeyReference wrapped = KeyReference::fromJson(listed(broken, "chave-\xc3\xa7"), nullptr, strategy);

    EXPECT_EQ(plain.certificate->fingerprint(), testCertificate(kAdemir)->fingerprint());
    EXPECT_TRUE(plain.sameContent(wrapped));
    EXPECT_EQ(plain.keyName, L"chave-\u00e7");
    EXPECT_EQ(plain.friendlyName, orvane::model::fromUtf8(testCertificate(kAdemir)->commonName()));
    EXPECT_FALSE(plain.hasKeyId());   // identifiers are the listing rule's business
    EXPECT_EQ(plain.strategy, strategy);
    EXPECT_EQ(plain.owner, nullptr);
}

TEST(KeyReferenceJson, TextThatIsNoCertificateFailsWithTheCertificateError)
{
    auto* strategy = &KestrelSignatureStrategy::instance();
    EXPECT_THROW(KeyReference::fromJson(listed("bm90IGEgY2VydGlmaWNhdGU=", "k"), nullptr, strategy),
                 std::invalid_argument);
    EXPECT_THROW(KeyReference::fromJson(listed("%%%", "k"), nullptr, strategy), std::invalid_argument);
    EXPECT_THROW(KeyReference::fromJson(Json::Value(Json::objectValue), nullptr, strategy), std::invalid_argument);
}

TEST(KeyReferenceId, MadeOnceAndNeverReplaced)
{
    KeyReference reference = withName(kAdemir, L"k");
    EXPECT_FALSE(reference.hasKeyId());
    reference.ensureKeyId(12345u);
    EXPECT_TRUE(reference.hasKeyId());
    const KeyId expected = reference.keyId;

    // An identifier, once there, is never replaced.
    reference.ensureKeyId(999u);
    EXPECT_EQ(reference.keyId, expected);
    reference.ensureKeyId();
    EXPECT_EQ(reference.keyId, expected);

    // The clock-seeded form gives distinct identifiers to references built
    // at different moments.
    std::set<std::string> seen;
    for (int i = 0; i < 20; ++i) {
        KeyReference fresh = withName(kAdemir, L"k");
        fresh.ensureKeyId();
        EXPECT_TRUE(fresh.hasKeyId());
        seen.insert(KeyReference::keyIdText(fresh.keyId));
    }
    EXPECT_GT(seen.size(), 1u);
}

TEST(KeyReferenceId, TextFormAndItsLenientReading)
{
    KeyId id{};
    for (std::size_t i = 0; i < id.size(); ++i)
        id[i] = static_cast<std::uint8_t>(i * 17 + 1);
    const std::string text = KeyReference::keyIdText(id);
    EXPECT_EQ(text.size(), 40u);
    EXPECT_EQ(text.substr(0, 8), "01122334");
    EXPECT_EQ(KeyReference::parseKeyId(text), id);

    // 38 digits: 19 bytes set, the last stays 0.
    KeyId short19 = KeyReference::parseKeyId(text.substr(0, 38));
    EXPECT_EQ(short19[18], id[18]);
    EXPECT_EQ(short19[19], 0);
    // A last odd digit and anything past the 40th are ignored.
    EXPECT_EQ(KeyReference::parseKeyId(text.substr(0, 39))[19], 0);
    EXPECT_EQ(KeyReference::parseKeyId(text + "ffff"), id);
    // Upper case reads the same; a broken pair reads its leading digits only.
    EXPECT_EQ(KeyReference::parseKeyId("ABzz9z")[0], 0xAB);
    EXPECT_EQ(KeyReference::parseKeyId("ABzz9z")[1], 0);
    EXPECT_EQ(KeyReference::parseKeyId("ABzz9z")[2], 9);
    EXPECT_EQ(KeyReference::parseKeyId(""), KeyId{});
}

TEST(ListingRule, IdentifiersFollowKeyNamesAcrossAListing)
{
    // Before the listing: "a" twice (the first wins) and "b" without one.
    KeyReference a1 = withName(kAdemir, L"a");
    a1.ensureKeyId(1u);
    KeyReference a2 = withName(kKabum, L"a");
    a2.ensureKeyId(2u);
    KeyReference b = withName(kKabum, L"b");
    const auto map = orvane::model::keyIdMap({&a1, &a2, &b});
    ASSERT_EQ(map.size(), 1u);
    EXPECT_EQ(map.at(L"a"), a1.keyId);

    // The new list: "a" comes back with another certificate, "b" and "c" are
    // new or had none.
    KeyReference newA = withName(kKabum, L"a");
    KeyReference newB = withName(kAdemir, L"b");
    KeyReference newC = withName(kAdemir, L"c");
    orvane::model::restoreKeyIds({&newA, &newB, &newC}, map);
    EXPECT_EQ(newA.keyId, a1.keyId);
    EXPECT_FALSE(newB.hasKeyId());
    EXPECT_FALSE(newC.hasKeyId());

    // A key that left and came back a listing later is not remembered.
    const auto afterDrop = orvane::model::keyIdMap({&newB});
    KeyReference back = withName(kKabum, L"a");
    orvane::model::restoreKeyIds({&back}, afterDrop);
    EXPECT_FALSE(back.hasKeyId());
}
