// Corner cases that the real certificates do not have, on certificates
// made here with the OpenSSL API; the exception family, the OpenSSL bridge,
// the byte/text helpers and text that is no certificate (crash safety on
// damaged input is the certificate corpus's job, in fuzz/).

#include "signer/Certificate.h"
#include "signer/DateTimeInterval.h"
#include "signer/Encoding.h"
#include "signer/Exceptions.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/err.h>

#include <random>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

const std::string person1 = "2.16.76.1.3.1";
const std::string personCei = "2.16.76.1.3.6";
const std::string voter = "2.16.76.1.3.5";
const std::string company4 = "2.16.76.1.3.4";
const std::string responsible = "2.16.76.1.3.2";
const std::string cnpj = "2.16.76.1.3.3";
const std::string companyCei = "2.16.76.1.3.7";

const CompanyDescription& company(const CertificateDetail& detail)
{
    return dynamic_cast<const CompanyDescription&>(*detail.identity);
}

CertificateDetail detailOf(CertificateBuilder& builder) { return builder.build().detail(); }

TEST(IdentityFields, PersonRowsAreCutByWidthAndShortValuesEmptyTheFieldWhereTheyRunOut)
{
    // 40 bytes: birth date, CPF and PIS fit (30); the RG (15) does not, so it
    // is empty and the cursor stays at 30, where the issuer's 6 bytes are cut.
    const std::string forty = "01021980" "12345678901" "10987654321" "ABCDEFGHIJ";
    const CertificateDetail detail =
        detailOf(CertificateBuilder()
                     .otherName(person1, forty)
                     .otherName(personCei, "CEI-ANY-LENGTH-XYZ")
                     .otherName(voter, std::string("123456789012" "045" "0678") + "S\xc3\xa3o Paulo SP"));
    ASSERT_EQ(PersonIdentity, detail.identityKind);
    EXPECT_EQ((std::vector<std::string>{"01021980", "12345678901", "10987654321", "", "ABCDEF", "CEI-ANY-LENGTH-XYZ",
                                        "123456789012", "045", "0678", ""}),
              identityFields(detail));

    // Bytes beyond the last cut are dropped; bytes are kept as they stand.
    const std::string city = "Bras\xedlia              ";  // ISO-8859-1 byte, blank padded to 22
    const CertificateDetail full = detailOf(CertificateBuilder()
                                                .otherName(person1, std::string("31121999") + "000.000.000"
                                                                        + "00000000000" + "      RG 123456" + "SSP/SP"
                                                                        + "SURPLUS")
                                                .otherName(voter, "000000000000" "000" "0000" + city));
    EXPECT_EQ((std::vector<std::string>{"31121999", "000.000.000", "00000000000", "      RG 123456", "SSP/SP", "",
                                        "000000000000", "000", "0000", city}),
              identityFields(full));
}

TEST(IdentityFields, KindsValueTypesAndTheLastChangeOfKind)
{
    EXPECT_EQ(NoIdentity, CertificateBuilder().build().detail().identityKind);
    const CertificateDetail other = detailOf(CertificateBuilder().otherName("1.3.6.1.4.1.311.20.2.3", "upn@example"));
    EXPECT_EQ(NoIdentity, other.identityKind);
    EXPECT_EQ(nullptr, other.identity);

    const CertificateDetail detail =
        detailOf(CertificateBuilder()
                     .otherName(company4, "24041966" "48090492487" "00000000000" "000000000750716" "ITEPRN")
                     .otherName(responsible, "WERNER")
                     .otherName(responsible, "WRONG NAME", V_ASN1_UTF8STRING)  // ignored
                     .otherName(companyCei, "000000000000"));
    ASSERT_EQ(CompanyIdentity, detail.identityKind);
    EXPECT_EQ((std::vector<std::string>{"24041966", "48090492487", "00000000000", "000000000750716", "ITEPRN", "WERNER",
                                        "", "000000000000"}),
              identityFields(detail));

    // Octet and printable strings count; UTF-8 and IA5 are ignored.
    EXPECT_EQ("12345678000199",
              company(detailOf(CertificateBuilder().otherName(cnpj, "12345678000199", V_ASN1_PRINTABLESTRING))).cnpj);
    for (int type : {V_ASN1_UTF8STRING, V_ASN1_IA5STRING})
        EXPECT_EQ(NoIdentity, detailOf(CertificateBuilder().otherName(cnpj, "12345678000199", type)).identityKind);
    // An empty CNPJ alone still makes a company.
    EXPECT_EQ(CompanyIdentity, detailOf(CertificateBuilder().otherName(cnpj, "")).identityKind);

    // company, company, person, company: the last change of kind starts a
    // fresh company description, so the CNPJ given before it is gone.
    const CertificateDetail mixed = detailOf(CertificateBuilder()
                                                 .otherName(cnpj, "11111111000111")
                                                 .otherName(responsible, "FIRST")
                                                 .otherName(personCei, "999999999999")
                                                 .otherName(companyCei, "000000000000"));
    ASSERT_EQ(CompanyIdentity, mixed.identityKind);
    EXPECT_EQ("", company(mixed).cnpj);
    EXPECT_EQ("000000000000", company(mixed).cei);
    // The same OID twice: the later one overwrites.
    EXPECT_EQ("22222222000122",
              company(detailOf(CertificateBuilder().otherName(cnpj, "11111111000111").otherName(cnpj, "22222222000122")))
                  .cnpj);
}

TEST(CertificateNames, DisplayNameCommonNameEmailAndEquality)
{
    using Entries = std::vector<std::pair<std::string, std::string>>;
    auto display = [](const Entries& s) { return detailOf(CertificateBuilder().subject(s)).subjectDisplayName; };
    EXPECT_EQ("Second", display({{"C", "BR"}, {"CN", "First"}, {"OU", "Unit"}, {"CN", "Second"}}));
    EXPECT_EQ("Unit B", display({{"O", "Org A"}, {"OU", "Unit A"}, {"OU", "Unit B"}, {"O", "Org B"}}));
    EXPECT_EQ("Org Only", display({{"C", "BR"}, {"O", "Org Only"}}));
    EXPECT_EQ("Unit", display({{"OU", "Unit"}, {"CN", ""}}));  // an empty common name gives way to the unit
    EXPECT_EQ("First", CertificateBuilder().subject({{"CN", "First"}, {"CN", "Second"}}).build().commonName());
    EXPECT_EQ("Name Entry Not Found",
              failureOf<BaseException>([] { CertificateBuilder().subject({{"O", "Org"}}).build().commonName(); }));

    // Values stop at the first zero byte; without an e-mail alternative name
    // the subject's first emailAddress is used, with one it wins.
    EXPECT_EQ("evil", CertificateBuilder().subject({{"CN", std::string("evil\0.example", 13)}}).build().commonName());
    EXPECT_EQ("x@y.z",
              detailOf(CertificateBuilder().subject({{"CN", "x"}, {"emailAddress", "x@y.z"}, {"emailAddress", "2@y.z"}}))
                  .email);
    EXPECT_EQ("san@y.z",
              detailOf(CertificateBuilder()
                           .subject({{"CN", "x"}, {"emailAddress", "s@y.z"}})
                           .extension("subjectAltName", "email:san@y.z"))
                  .email);

    // Name equality ignores order, not values.
    auto name = [](const Entries& entries) { return CertificateBuilder().subject(entries).build().subjectName(); };
    const DistinguishedName a = name({{"C", "BR"}, {"O", "X"}, {"1.2.3.4", "v"}});
    EXPECT_TRUE(a == name({{"1.2.3.4", "v"}, {"O", "X"}, {"C", "BR"}}));
    EXPECT_FALSE(a == name({{"C", "BR"}, {"O", "Y"}, {"1.2.3.4", "v"}}));
    EXPECT_FALSE(a == name({{"C", "BR"}, {"O", "X"}}));
    EXPECT_FALSE(name({{"C", "BR"}, {"O", "X"}}) == a);
}

TEST(CertificateCategories, LegacyRootsAuthoritiesAndEndEntities)
{
    // Self-issued, no basic constraints: a root by the legacy rule.
    const Certificate legacy = CertificateBuilder().subject({{"CN", "Old Root"}}).build();
    EXPECT_TRUE(legacy.isLegacyRoot());
    EXPECT_TRUE(legacy.isRoot());
    EXPECT_FALSE(legacy.isEndEntity());
    const Certificate selfSignedCa =
        CertificateBuilder().subject({{"CN", "Root"}}).extension("basicConstraints", "critical,CA:TRUE").build();
    EXPECT_TRUE(selfSignedCa.isRoot());
    EXPECT_FALSE(selfSignedCa.isLegacyRoot());

    auto issued = [](const char* constraints) {
        CertificateBuilder builder;
        builder.subject({{"CN", "Sub"}}).issuer({{"CN", "Root"}});
        if (*constraints)
            builder.extension("basicConstraints", constraints);
        return builder.build();
    };
    EXPECT_TRUE(issued("").isEndEntity());
    EXPECT_TRUE(issued("").allowsSubCas());
    EXPECT_TRUE(issued("CA:FALSE").isEndEntity());
    EXPECT_FALSE(issued("CA:FALSE").allowsSubCas());
    EXPECT_TRUE(issued("critical,CA:TRUE,pathlen:0").isFinalCa());
    EXPECT_FALSE(issued("critical,CA:TRUE,pathlen:0").isIntermediateCa());
    EXPECT_TRUE(issued("critical,CA:TRUE,pathlen:1").isIntermediateCa());
    EXPECT_TRUE(issued("critical,CA:TRUE").isIntermediateCa());
}

TEST(CertificateKeyUsages, MaskOrderAndExtendedUsages)
{
    const Certificate some = CertificateBuilder()
                                 .extension("keyUsage", "decipherOnly,keyAgreement,digitalSignature")
                                 .extension("extendedKeyUsage", "emailProtection,1.2.3.4.5")
                                 .build();
    EXPECT_EQ((std::vector<std::string>{"Digital Signature", "Key Agreement", "Key Decipher Only", "E-mail Protection",
                                        "1.2.3.4.5"}),
              some.keyUsageNames());
}

TEST(CertificateTimes, UtcCenturyWindowBrasiliaDaysAndParseTimeRules)
{
    auto endDay = [](const char* notAfter) {
        return CertificateBuilder().notAfter(notAfter).build().validity().notAfterDate();
    };
    EXPECT_EQ(149, CertificateBuilder().notAfter("491231235959Z").build().validity().notAfter().tm_year);
    EXPECT_EQ(50, CertificateBuilder().notBefore("500101000000Z").build().validity().notBefore().tm_year);
    // Midnight UTC on the first of a month is still the last day of the
    // month before in Brasília; across a leap day and a year end too.
    EXPECT_EQ("29/02/2024", endDay("20240301000000Z"));
    EXPECT_EQ("31/12/2030", endDay("20310101025959Z"));
    EXPECT_EQ("01/01/2031", endDay("20310101030000Z"));
    EXPECT_EQ("31/12/2099", endDay("21000101000000Z"));

    auto parsed = [](const std::string& text, int type) {
        ASN1_STRING* time = ASN1_STRING_type_new(type);
        ASN1_STRING_set(time, text.data(), static_cast<int>(text.size()));
        const std::tm result = parseTime(time);
        ASN1_STRING_free(time);
        return std::vector<int>{result.tm_year, result.tm_mon, result.tm_mday, result.tm_hour, result.tm_min,
                                result.tm_sec};
    };
    EXPECT_EQ((std::vector<int>{125, 6, 4, 12, 34, 56}), parsed("20250704123456Z", V_ASN1_GENERALIZEDTIME));
    EXPECT_EQ((std::vector<int>{125, 0, 2, 3, 4, 0}), parsed("2501020304Z", V_ASN1_UTCTIME));
    EXPECT_EQ((std::vector<int>{99, 11, 31, 23, 59, 59}), parsed("991231235959", V_ASN1_UTCTIME));  // no Z
    EXPECT_EQ(std::vector<int>(6, 0), parsed("2501020304+0300", V_ASN1_UTCTIME));  // offsets are not understood
    // A zero record (day 0 of January 1900 at midnight UTC) renders without harm.
    EXPECT_EQ("30/12/1899", DateTimeInterval().notAfterDate());
}

TEST(Base64, EncodesLikeTheOpensslToolConsumesItsInputAndCountsEveryPaddingCharacter)
{
    std::mt19937 random(7);
    for (const std::size_t size : {0u, 1u, 2u, 3u, 4u, 5u, 57u, 58u, 1000u}) {
        Bytes bytes(size);
        for (auto& b : bytes)
            b = static_cast<unsigned char>(random());
        std::string expected = openssl({"base64", "-A"}, asText(bytes));
        if (!expected.empty() && expected.back() == '\n')
            expected.pop_back();
        Bytes consumed = bytes;
        std::string encoded = base64Encode(consumed);
        EXPECT_EQ(expected, encoded) << size;
        EXPECT_EQ(bytes, base64Decode(encoded)) << size;
        EXPECT_TRUE(consumed.empty() && encoded.empty()) << "both consume their input";
    }
    // "QQAA" decodes to 41 00 00; a "=" in the middle reads as "A" and takes
    // one more byte off the end.
    EXPECT_EQ((Bytes{0x41, 0x00}), base64Decode("QQ=A"));
    // A std::invalid_argument, as Certificate::fromText expects of text that is no base64.
    for (const char* bad : {"QQ==\n", "Q Q=", "QQ*=", "\xc3\xa9QQ="})
        EXPECT_EQ("attempt to decode a value not in base64 char set",
                  failureOf<std::invalid_argument>([&] { base64Decode(std::string(bad)); }))
            << bad;
}

// The openssl tool's form of a fingerprint is checked on the real certificates.
TEST(Fingerprints, NormaliseParseAndPrint)
{
    const std::string canonical = "5f 4a 00 ab cd ef 01 23 45 67 89 ab cd ef 01 23 45 67 89 ff";
    EXPECT_EQ(canonical, normalizeFingerprint("5f4a00ABCDEF0123456789abcdef0123456789ff"));
    EXPECT_EQ("ab c", normalizeFingerprint("A B:C"));
    EXPECT_EQ("\xc3\x89 z", normalizeFingerprint("\xc3\x89Z"));  // only A-Z are folded; nothing is validated

    const Bytes bytes = fingerprintBytes("5f\t4a\n00 ab cd ef 01 23 45 67 89 ab cd ef 01 23 45 67 89 ff");
    EXPECT_EQ(canonical, hexWithBlanks(bytes));
    for (const std::string& bad : {std::string("5f 4a"), canonical + " 00", "zz" + canonical.substr(2),
                                   "5f4" + canonical.substr(2)})
        EXPECT_THROW(fingerprintBytes(bad), std::invalid_argument) << bad;
}

TEST(MalformedInput, TextThatIsNoCertificateGivesTheFixedMessageByteForByte)
{
    const Bytes der = loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem").toDer();
    for (const std::string& text :
         {std::string("x"), std::string(), std::string("QUJD"),  // base64 of "ABC"
          std::string("-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n"),
          std::string("\x30\x82\x05\x00", 4), base64Encode(Bytes(der.begin(), der.begin() + 100)),
          std::string("a\0b", 3)}) {
        // what() is a C string: a zero byte of the input ends it there.
        const std::string expected = "Base64 passado [" + text + "] n\xEF\xBF\xBDo \xEF\xBF\xBD v\xEF\xBF\xBDlido";
        EXPECT_EQ(expected.substr(0, expected.find('\0')),
                  failureOf<std::invalid_argument>([&] { Certificate::fromText(text); }));
    }
    EXPECT_EQ(0ul, ERR_peek_error()) << "the failed attempts leave nothing in OpenSSL's error queue";
    const Certificate null = Certificate::fromDer(nullptr, 10);
    EXPECT_TRUE(null.isNull());
    EXPECT_TRUE(null == Certificate());
    EXPECT_EQ("", null.fingerprint());
}

} // namespace
