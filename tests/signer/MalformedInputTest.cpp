// Input that is no certificate: the fixed message, byte for byte. Crash
// safety on damaged input is the certificate corpus's job (fuzz/).

#include "signer/Certificate.h"
#include "signer/Encoding.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

TEST(MalformedInput, TextThatIsNoCertificateGivesTheFixedMessageByteForByte)
{
    const Bytes der = loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem").toDer();
    Bytes truncated(der.begin(), der.begin() + 100);
    for (const std::string& text :
         {std::string("x"), std::string(), std::string("QUJD"),  // base64 of "ABC"
          std::string("-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n"),
          std::string("\x30\x82\x05\x00", 4), base64Encode(truncated), std::string("a\0b", 3)}) {
        try {
            Certificate::fromText(text);
            ADD_FAILURE() << "accepted " << text;
        } catch (const std::invalid_argument& error) {
            // what() is a C string: a zero byte of the input ends it there.
            const std::string expected = "Base64 passado [" + text + "] n\xEF\xBF\xBDo \xEF\xBF\xBD v\xEF\xBF\xBDlido";
            EXPECT_EQ(expected.substr(0, expected.find('\0')), std::string(error.what()));
        }
    }
    // The failed attempts leave nothing in OpenSSL's error queue.
    EXPECT_EQ(0ul, ERR_peek_error());
}

TEST(MalformedInput, NullCertificateAnswersEmptyValues)
{
    const Certificate null = Certificate::fromDer(nullptr, 10);
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ("", null.fingerprint());
    EXPECT_TRUE(null.toDer().empty());
    EXPECT_EQ("", null.toPem());
    EXPECT_FALSE(null.isCa());
    EXPECT_EQ(0, null.detail().identityKind);
    EXPECT_TRUE(null == Certificate());
    EXPECT_FALSE(null == loadCertificate("ca/roots/icp-brasil-raiz-v2.pem"));
}

} // namespace
