// Corner cases that the real certificates do not have, on certificates
// made here with the OpenSSL API.

#include "signer/Certificate.h"
#include "signer/DateTimeInterval.h"
#include "signer/Exceptions.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>

#include <sstream>

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

const PersonDescription& person(const CertificateDetail& detail)
{
    return dynamic_cast<const PersonDescription&>(*detail.identity);
}

const CompanyDescription& company(const CertificateDetail& detail)
{
    return dynamic_cast<const CompanyDescription&>(*detail.identity);
}

TEST(IdentityFields, PersonRowsAreCutByWidthAndShortValuesEmptyTheFieldWhereTheyRunOut)
{
    // 40 bytes: birth date, CPF and PIS fit (30); the RG (15) does not, so it
    // is empty and the cursor stays at 30, where the issuer's 6 bytes are cut.
    const std::string forty = "01021980" "12345678901" "10987654321" "ABCDEFGHIJ";
    const CertificateDetail detail = CertificateBuilder()
                                         .otherName(person1, forty)
                                         .otherName(personCei, "CEI-ANY-LENGTH-XYZ")
                                         .otherName(voter, std::string("123456789012" "045" "0678") + "S\xc3\xa3o Paulo SP")
                                         .build()
                                         .detail();
    ASSERT_EQ(PersonIdentity, detail.identityKind);
    const PersonDescription& p = person(detail);
    EXPECT_EQ((std::vector<std::string>{"01021980", "12345678901", "10987654321", "", "ABCDEF", "CEI-ANY-LENGTH-XYZ",
                                        "123456789012", "045", "0678", ""}),
              (std::vector<std::string>{p.birthDate, p.cpf, p.pis, p.rg, p.rgIssuer, p.cei, p.voterId, p.voterZone,
                                        p.voterSection, p.voterCity}));

    // Bytes beyond the last cut are dropped; bytes are kept as they stand.
    const std::string city = "Bras\xedlia              ";  // ISO-8859-1 byte, blank padded to 22
    const CertificateDetail full = CertificateBuilder()
                                       .otherName(person1, std::string("31121999") + "000.000.000" + "00000000000"
                                                               + "      RG 123456" + "SSP/SP" + "SURPLUS")
                                       .otherName(voter, "000000000000" "000" "0000" + city)
                                       .build()
                                       .detail();
    EXPECT_EQ("      RG 123456", person(full).rg);
    EXPECT_EQ("SSP/SP", person(full).rgIssuer);
    EXPECT_EQ(city, person(full).voterCity);
}

TEST(IdentityFields, KindsValueTypesAndTheLastChangeOfKind)
{
    EXPECT_EQ(NoIdentity, CertificateBuilder().build().detail().identityKind);
    // Only an e-mail and an otherName of another arc.
    const CertificateDetail other =
        CertificateBuilder().email("a@b.c").otherName("1.3.6.1.4.1.311.20.2.3", "upn@example").build().detail();
    EXPECT_EQ(NoIdentity, other.identityKind);
    EXPECT_EQ(nullptr, other.identity);

    const CertificateDetail detail = CertificateBuilder()
                                         .otherName(company4, "24041966" "48090492487" "00000000000"
                                                              "000000000750716" "ITEPRN")
                                         .otherName(responsible, "WERNER")
                                         .otherName(responsible, "WRONG NAME", V_ASN1_UTF8STRING)  // ignored
                                         .otherName(companyCei, "000000000000")
                                         .build()
                                         .detail();
    ASSERT_EQ(CompanyIdentity, detail.identityKind);
    EXPECT_EQ("ITEPRN", company(detail).rgIssuer);
    EXPECT_EQ("WERNER", company(detail).responsibleName);
    EXPECT_EQ("000000000000", company(detail).cei);

    // Octet and printable strings count; UTF-8 and IA5 are ignored.
    EXPECT_EQ("12345678000199", company(CertificateBuilder()
                                            .otherName(cnpj, "12345678000199", V_ASN1_PRINTABLESTRING)
                                            .build()
                                            .detail())
                                    .cnpj);
    for (int type : {V_ASN1_UTF8STRING, V_ASN1_IA5STRING})
        EXPECT_EQ(NoIdentity, CertificateBuilder().otherName(cnpj, "12345678000199", type).build().detail().identityKind);
    // An empty CNPJ alone still makes a company.
    EXPECT_EQ(CompanyIdentity, CertificateBuilder().otherName(cnpj, "").build().detail().identityKind);

    // company, company, person, company: the last change of kind starts a
    // fresh company description, so the CNPJ given before it is gone.
    const CertificateDetail mixed = CertificateBuilder()
                                        .otherName(cnpj, "11111111000111")
                                        .otherName(responsible, "FIRST")
                                        .otherName(personCei, "999999999999")
                                        .otherName(companyCei, "000000000000")
                                        .build()
                                        .detail();
    ASSERT_EQ(CompanyIdentity, mixed.identityKind);
    EXPECT_EQ("", company(mixed).cnpj);
    EXPECT_EQ("000000000000", company(mixed).cei);
    // The same OID twice: the later one overwrites.
    EXPECT_EQ("22222222000122", company(CertificateBuilder()
                                            .otherName(cnpj, "11111111000111")
                                            .otherName(cnpj, "22222222000122")
                                            .build()
                                            .detail())
                                    .cnpj);
}

TEST(CertificateNames, DisplayNameCommonNameEmailAndEquality)
{
    const Certificate twoNames =
        CertificateBuilder().subject({{"C", "BR"}, {"CN", "First"}, {"OU", "Unit"}, {"CN", "Second"}}).build();
    EXPECT_EQ("Second", twoNames.detail().subjectDisplayName);
    EXPECT_EQ("First", twoNames.commonName());
    EXPECT_EQ("Unit B", CertificateBuilder()
                            .subject({{"O", "Org A"}, {"OU", "Unit A"}, {"OU", "Unit B"}, {"O", "Org B"}})
                            .build()
                            .detail()
                            .subjectDisplayName);
    EXPECT_EQ("Org Only",
              CertificateBuilder().subject({{"C", "BR"}, {"O", "Org Only"}}).build().detail().subjectDisplayName);
    // An empty common name gives way to the unit.
    EXPECT_EQ("Unit", CertificateBuilder().subject({{"OU", "Unit"}, {"CN", ""}}).build().detail().subjectDisplayName);
    try {
        CertificateBuilder().subject({{"O", "Org"}}).build().commonName();
        FAIL();
    } catch (const BaseException& error) {
        EXPECT_STREQ("Name Entry Not Found", error.what());
    }

    // Values stop at the first zero byte; without an e-mail alternative name
    // the subject's first emailAddress is used, with one it wins.
    const Certificate zero =
        CertificateBuilder().subject({{"CN", std::string("evil\0.example", 13)}}).email(std::string("a@b\0c", 5)).build();
    EXPECT_EQ("evil", zero.commonName());
    EXPECT_EQ("a@b", zero.detail().email);
    EXPECT_EQ("x@y.z", CertificateBuilder()
                           .subject({{"CN", "x"}, {"emailAddress", "x@y.z"}, {"emailAddress", "2@y.z"}})
                           .build()
                           .detail()
                           .email);
    EXPECT_EQ("san@y.z",
              CertificateBuilder().subject({{"CN", "x"}, {"emailAddress", "s@y.z"}}).email("san@y.z").build().detail().email);

    // Name equality ignores order, not values; the stream form keeps order
    // and names unknown types by number.
    auto name = [](const std::vector<std::pair<std::string, std::string>>& entries) {
        return CertificateBuilder().subject(entries).build().subjectName();
    };
    const DistinguishedName a = name({{"C", "BR"}, {"O", "X"}, {"1.2.3.4", "v"}});
    EXPECT_TRUE(a == name({{"1.2.3.4", "v"}, {"O", "X"}, {"C", "BR"}}));
    EXPECT_FALSE(a == name({{"C", "BR"}, {"O", "Y"}, {"1.2.3.4", "v"}}));
    EXPECT_FALSE(a == name({{"C", "BR"}, {"O", "X"}}));
    EXPECT_FALSE(name({{"C", "BR"}, {"O", "X"}}) == a);
    std::ostringstream text;
    text << a;
    EXPECT_EQ("/C=BR/O=X/1.2.3.4=v", text.str());
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
    EXPECT_EQ("31/12/1999", endDay("991231235959Z"));
    EXPECT_EQ("29/02/2024", endDay("20240301000000Z"));
    EXPECT_EQ("28/02/2023", endDay("230301000000Z"));
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
    const std::vector<int> zero(6, 0);
    for (const auto& [text, type] : std::vector<std::pair<std::string, int>>{
             {"251302030405Z", V_ASN1_UTCTIME},  // month 13
             {"250002030405Z", V_ASN1_UTCTIME},  // month 0
             {"250102030", V_ASN1_UTCTIME},      // too short
             {"20250102030", V_ASN1_GENERALIZEDTIME},
             {"2501020304+0300", V_ASN1_UTCTIME},  // offsets are not understood
             {"20250102030405.5Z", V_ASN1_GENERALIZEDTIME},
             {"2501020304X", V_ASN1_UTCTIME},
             {"250102030405Z", V_ASN1_OCTET_STRING}})
        EXPECT_EQ(zero, parsed(text, type)) << text;
    // A zero record (day 0 of January 1900 at midnight UTC) renders without harm.
    EXPECT_EQ("30/12/1899", DateTimeInterval().notAfterDate());
}

} // namespace
