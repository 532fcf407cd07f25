// Input that is no certificate, or a broken one: never a crash, always the
// documented answer.

#include "signer/Certificate.h"
#include "signer/Encoding.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <random>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

const std::string invalidMessageTail = "] n\xEF\xBF\xBDo \xEF\xBF\xBD v\xEF\xBF\xBDlido";

void expectRejected(const std::string& text)
{
    try {
        Certificate::fromText(text);
        ADD_FAILURE() << "accepted " << text.size() << " bytes";
    } catch (const std::invalid_argument& error) {
        // what() is a C string: a zero byte of the input ends it there.
        const std::string expected = "Base64 passado [" + text + invalidMessageTail;
        EXPECT_EQ(expected.substr(0, expected.find('\0')), std::string(error.what()));
    }
}

// Every accessor on a certificate, to shake out any crash.
void touchEverything(const Certificate& certificate)
{
    (void)certificate.fingerprint();
    (void)certificate.serialNumber();
    (void)certificate.subjectName();
    (void)certificate.issuerName();
    (void)certificate.toDer();
    (void)certificate.toPem();
    (void)certificate.isRoot();
    (void)certificate.isIntermediateCa();
    (void)certificate.isFinalCa();
    (void)certificate.isEndEntity();
    (void)certificate.keyUsageNames();
    (void)certificate.policyOids();
    (void)certificate.detail();
    try {
        (void)certificate.commonName();
    } catch (const std::exception&) {
    }
    try {
        (void)certificate.publicKey();
    } catch (const std::exception&) {
    }
}

TEST(MalformedInput, TextThatIsNoCertificateGivesTheFixedMessageByteForByte)
{
    EXPECT_EQ("Base64 passado [x] n\xEF\xBF\xBDo \xEF\xBF\xBD v\xEF\xBF\xBDlido", [] {
        try {
            Certificate::fromText("x");
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
        return std::string();
    }());
    expectRejected("");
    expectRejected("not base64 at all!");
    expectRejected("QUJD");  // base64 of "ABC"
    expectRejected("-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n");
    expectRejected(std::string("\x30\x82\x05\x00", 4));
    expectRejected(std::string(1, '\0'));
    // The failed attempts leave nothing in OpenSSL's error queue.
    EXPECT_EQ(0ul, ERR_peek_error());
}

TEST(MalformedInput, TruncatedAndDamagedDerNeverCrash)
{
    const Bytes der = loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem").toDer();
    for (std::size_t length = 0; length < der.size(); length += (length < 64 ? 1 : 37)) {
        const Certificate certificate = Certificate::fromDer(der.data(), length);
        EXPECT_TRUE(certificate.isNull()) << length;
        touchEverything(certificate);
        Bytes prefix(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(length));
        expectRejected(base64Encode(prefix));
    }
    EXPECT_TRUE(Certificate::fromDer(nullptr, 10).isNull());

    // Flip bytes all over a valid certificate: whatever still parses must
    // answer every accessor.
    std::mt19937 random(2024);
    int parsed = 0;
    for (int round = 0; round < 400; ++round) {
        Bytes damaged = der;
        for (int flips = 0; flips < 3; ++flips)
            damaged[random() % damaged.size()] ^= static_cast<unsigned char>(1u << (random() % 8));
        const Certificate certificate = Certificate::fromDer(damaged);
        if (!certificate.isNull())
            ++parsed;
        touchEverything(certificate);
    }
    EXPECT_GT(parsed, 0);
    EXPECT_EQ(0ul, ERR_peek_error());
}

TEST(MalformedInput, NullCertificateAnswersEmptyValues)
{
    const Certificate null;
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ("", null.fingerprint());
    EXPECT_TRUE(null.toDer().empty());
    EXPECT_EQ("", null.toPem());
    EXPECT_FALSE(null.isCa());
    EXPECT_TRUE(null.isEndEntity());
    EXPECT_EQ(0, null.detail().identityKind);
    EXPECT_TRUE(null == Certificate());
    EXPECT_FALSE(null == loadCertificate("ca/roots/icp-brasil-raiz-v2.pem"));
    EXPECT_TRUE(Certificate::fromHandle(nullptr).isNull());
}

TEST(MalformedInput, GarbageBase64AndRandomBytes)
{
    std::mt19937 random(99);
    for (int round = 0; round < 200; ++round) {
        std::string text(random() % 300, '\0');
        for (char& c : text)
            c = static_cast<char>(random());
        try {
            touchEverything(Certificate::fromText(text));
        } catch (const std::invalid_argument&) {
        }
        std::string alphabetOnly(random() % 300, 'A');
        for (char& c : alphabetOnly)
            c = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="[random() % 65];
        try {
            touchEverything(Certificate::fromText(alphabetOnly));
        } catch (const std::invalid_argument&) {
        }
    }
}

} // namespace
