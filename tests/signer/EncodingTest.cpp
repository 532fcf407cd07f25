// The exception family, the OpenSSL bridge, the byte/text helpers, the BIO
// over C++ streams, and text that is no certificate (crash safety on damaged
// input is the certificate corpus's job, in fuzz/).

#include "signer/Certificate.h"
#include "signer/Encoding.h"
#include "signer/Exceptions.h"
#include "signer/NarrowConverter.h"
#include "signer/StdStreamAdapter.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <random>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

template <class E>
std::string whatOf(const E& error)
{
    return error.what();
}

TEST(SignerExceptions, PrefixesKeepTheirBlankAndPlatformTextsNameTheFunctionOnlyWhenGiven)
{
    EXPECT_EQ("Certificate not found: ", whatOf(CertificateNotFoundException("")));
    EXPECT_EQ("Error at adding certificate: x", whatOf(CertificateAdditionException("x")));
    EXPECT_EQ("Error while searching certificates at repository: x", whatOf(CertificateSearchingException("x")));
    EXPECT_EQ("Error at decrypting: x", whatOf(DecryptionException("x")));
    EXPECT_EQ("Error during key pair generation: x", whatOf(KeyPairGenerationException("x")));
    EXPECT_EQ("Error at signing: x", whatOf(SignatureException("x")));
    EXPECT_EQ("Error while doing login at repository: x", whatOf(RepositoryAccessException("x")));
    EXPECT_EQ("Error while serializing: x", whatOf(SerializationException("x")));

    EXPECT_EQ("Access is denied. (CertOpenStore)", whatOf(CapiException("  Access is denied.\r\n", "CertOpenStore")));
    EXPECT_EQ("Access is denied.", whatOf(CapiException("Access is denied.\r\n", "")));
    EXPECT_EQ("Acesso negado. (NCryptOpenKey)", whatOf(CapiException(L"\tAcesso negado.  ", "NCryptOpenKey")));
    EXPECT_EQ("mac verify failure (PKCS12_parse)", whatOf(ArchiveException("mac verify failure", "PKCS12_parse")));
    // Outside the BaseException family on purpose.
    const ArchiveException archive("a", "b");
    EXPECT_EQ(nullptr, dynamic_cast<const BaseException*>(static_cast<const std::exception*>(&archive)));
}

TEST(CheckOpenSsl, UsesTheOldestQueuedErrorThenTheFallback)
{
    EXPECT_NO_THROW(checkOpenSsl(false, "X", "never"));

    ERR_clear_error();
    EXPECT_EQ("Could not create EVP object (EVP_PKEY_new)", failureOf<ArchiveException>([] {
                  checkOpenSsl(true, "EVP_PKEY_new", "Could not create EVP object");
              }));

    // Provoke two real OpenSSL errors; the first one is reported and the
    // queue is left empty.
    EXPECT_EQ(nullptr, EVP_get_digestbyname("no-such-digest"));
    ERR_raise_data(ERR_LIB_EVP, EVP_R_UNSUPPORTED_ALGORITHM, "first");
    ERR_raise_data(ERR_LIB_PKCS12, 113, "second");
    const std::string text =
        failureOf<ArchiveException>([] { checkOpenSsl(true, "PKCS12_parse", "fallback"); });
    EXPECT_EQ(0u, text.find("error:")) << text;
    EXPECT_NE(std::string::npos, text.find("unsupported")) << text;
    EXPECT_NE(std::string::npos, text.find(" (PKCS12_parse)")) << text;
    EXPECT_EQ(0ul, ERR_peek_error());
}

TEST(Base64, EncodesLikeTheOpensslToolAndConsumesItsInput)
{
    std::mt19937 random(7);
    for (const std::size_t size : {0u, 1u, 2u, 3u, 4u, 5u, 57u, 58u, 1000u}) {
        Bytes bytes(size);
        for (auto& b : bytes)
            b = static_cast<unsigned char>(random());
        const std::string input(bytes.begin(), bytes.end());
        std::string expected = openssl({"base64", "-A"}, input);
        if (!expected.empty() && expected.back() == '\n')
            expected.pop_back();

        Bytes consumed = bytes;
        const std::string encoded = base64Encode(consumed);
        EXPECT_EQ(expected, encoded) << size;
        EXPECT_TRUE(consumed.empty());

        std::string text = encoded;
        EXPECT_EQ(bytes, base64Decode(text)) << size;
        EXPECT_TRUE(text.empty());
    }
}

TEST(Base64, DecoderCountsEveryPaddingCharacterWhereverItStands)
{
    // "QQAA" decodes to 41 00 00; a "=" in the middle reads as "A" and takes
    // one more byte off the end; more "=" than bytes leaves nothing.
    EXPECT_EQ((Bytes{0x41, 0x00}), base64Decode("QQ=A"));
    EXPECT_TRUE(base64Decode("====").empty());
    EXPECT_EQ((Bytes{0x41}), base64Decode("QQ"));  // an incomplete group gives the whole bytes it holds

    for (const char* bad : {"QQ==\n", "Q Q=", "QQ*=", "\xc3\xa9QQ="}) {
        try {
            base64Decode(std::string(bad));
            FAIL() << bad;
        } catch (const std::exception& error) {
            EXPECT_STREQ("attempt to decode a value not in base64 char set", error.what());
            EXPECT_EQ(nullptr, dynamic_cast<const BaseException*>(&error));
        }
    }
}

// Digests of known names are checked wherever the openssl tool verifies a
// signature made over digest(); here the names that have none.
TEST(Digest, EmptyNameGivesNothingAndAnUnknownOneFails)
{
    const Bytes bytes{1, 2, 3};
    EXPECT_TRUE(digest(bytes, "").empty());
    EXPECT_EQ("Error at signing: Invalid option for hash",
              failureOf<SignatureException>([&] { digest(bytes, "SHA-0-nonexistent"); }));
}

TEST(Fingerprints, NormaliseParseAndPrint)
{
    const std::string canonical = "5f 4a 00 ab cd ef 01 23 45 67 89 ab cd ef 01 23 45 67 89 ff";
    EXPECT_EQ(canonical, normalizeFingerprint(canonical));
    EXPECT_EQ(canonical, normalizeFingerprint("5F:4A:00:AB:CD:EF:01:23:45:67:89:AB:CD:EF:01:23:45:67:89:FF"));
    EXPECT_EQ(canonical, normalizeFingerprint("5f4a00abcdef0123456789abcdef0123456789ff"));
    EXPECT_EQ("ab c", normalizeFingerprint("A B:C"));
    EXPECT_EQ("", normalizeFingerprint(" : "));
    // Only A-Z are folded; nothing is validated.
    EXPECT_EQ("\xc3\x89 z", normalizeFingerprint("\xc3\x89Z"));

    const Bytes bytes = fingerprintBytes("5f\t4a\n00 ab cd ef 01 23 45 67 89 ab cd ef 01 23 45 67 89 ff");
    ASSERT_EQ(20u, bytes.size());
    EXPECT_EQ((Bytes{0x5f, 0x4a, 0x00}), Bytes(bytes.begin(), bytes.begin() + 3));
    EXPECT_EQ(canonical, hexWithBlanks(bytes));
    for (const std::string& bad : {std::string("5f 4a"), canonical + " 00", "zz" + canonical.substr(2),
                                   "5f4" + canonical.substr(2)})
        EXPECT_THROW(fingerprintBytes(bad), std::invalid_argument) << bad;
}

TEST(NarrowConverter, RoundTripsPortugueseTextAndRefusesBrokenBytes)
{
    const std::wstring wide = L"Pol\u00edtica de Certifica\u00e7\u00e3o \u2013 ICP";
    EXPECT_EQ("Pol\xc3\xadtica de Certifica\xc3\xa7\xc3\xa3o \xe2\x80\x93 ICP", narrowConverter.to_bytes(wide));
    EXPECT_EQ(wide, narrowConverter.from_bytes(narrowConverter.to_bytes(wide)));
    EXPECT_THROW(narrowConverter.from_bytes("\xff\xfe"), std::range_error);
}

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

TEST(StdStreamAdapter, FailuresAnswerMinusOneAndGetsCountsToTheFirstZeroByte)
{
    std::ostringstream out;
    BioPtr bio = newStdStreamBio(nullptr, &out);
    EXPECT_EQ(5, BIO_write(bio.get(), "hello", 5));
    EXPECT_EQ(6, BIO_puts(bio.get(), " world"));
    EXPECT_EQ("hello world", out.str());
    out.setstate(std::ios::badbit);
    EXPECT_EQ(-1, BIO_write(bio.get(), "x", 1));

    // Without an output stream nowhere to write; without an input stream
    // nothing to read.
    BioPtr none = newStdStreamBio(nullptr, nullptr);
    char buffer[32] = {};
    EXPECT_EQ(-1, BIO_write(none.get(), "x", 1));
    EXPECT_EQ(-1, BIO_read(none.get(), buffer, sizeof buffer));

    std::istringstream in(std::string("first line\nsecond\0rest", 23));
    BioPtr reader = newStdStreamBio(&in, nullptr);
    EXPECT_EQ(5, BIO_read(reader.get(), buffer, 5));
    EXPECT_EQ(12, BIO_gets(reader.get(), buffer, sizeof buffer));
    EXPECT_EQ(" line\nsecond", std::string(buffer, 12));
    EXPECT_EQ(0, BIO_read(reader.get(), buffer, sizeof buffer));
}

} // namespace
