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

TEST(IdentityFields, NoAlternativeNameOrNoIcpRowsMeansNoIdentity)
{
    const CertificateDetail none = CertificateBuilder().build().detail();
    EXPECT_EQ(NoIdentity, none.identityKind);
    EXPECT_EQ(nullptr, none.identity);

    // Only an e-mail and an otherName of another arc.
    const CertificateDetail other =
        CertificateBuilder().email("a@b.c").otherName("1.3.6.1.4.1.311.20.2.3", "upn@example").build().detail();
    EXPECT_EQ(NoIdentity, other.identityKind);
    EXPECT_EQ(nullptr, other.identity);
    EXPECT_EQ("a@b.c", other.email);
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
    EXPECT_EQ("01021980", p.birthDate);
    EXPECT_EQ("12345678901", p.cpf);
    EXPECT_EQ("10987654321", p.pis);
    EXPECT_EQ("", p.rg);
    EXPECT_EQ("ABCDEF", p.rgIssuer);
    EXPECT_EQ("CEI-ANY-LENGTH-XYZ", p.cei);
    EXPECT_EQ("123456789012", p.voterId);
    EXPECT_EQ("045", p.voterZone);
    EXPECT_EQ("0678", p.voterSection);
    EXPECT_EQ("", p.voterCity);  // 13 bytes left, 22 asked

    // Bytes beyond the last cut are dropped; bytes are kept as they stand,
    // padding and non-ASCII included.
    const std::string longRow = std::string("31121999") + "000.000.000" + "00000000000" + "      RG 123456" +
                                "SSP/SP" + "SURPLUS";
    const std::string city = "Bras\xedlia              ";  // ISO-8859-1 byte, blank padded to 22
    const CertificateDetail full = CertificateBuilder()
                                       .otherName(person1, longRow)
                                       .otherName(voter, "000000000000" "000" "0000" + city)
                                       .build()
                                       .detail();
    EXPECT_EQ("000.000.000", person(full).cpf);
    EXPECT_EQ("      RG 123456", person(full).rg);
    EXPECT_EQ("SSP/SP", person(full).rgIssuer);
    EXPECT_EQ(city, person(full).voterCity);
    EXPECT_EQ(22u, person(full).voterCity.size());
}

TEST(IdentityFields, CompanyRowsAndEmptyValues)
{
    const CertificateDetail detail = CertificateBuilder()
                                         .otherName(company4, "24041966" "48090492487" "00000000000"
                                                              "000000000750716" "ITEPRN")
                                         .otherName(responsible, "WERNER")
                                         .otherName(cnpj, "")
                                         .otherName(companyCei, "000000000000")
                                         .build()
                                         .detail();
    ASSERT_EQ(CompanyIdentity, detail.identityKind);
    const CompanyDescription& c = company(detail);
    EXPECT_EQ("24041966", c.birthDate);
    EXPECT_EQ("ITEPRN", c.rgIssuer);
    EXPECT_EQ("WERNER", c.responsibleName);
    EXPECT_EQ("", c.cnpj);
    EXPECT_EQ("000000000000", c.cei);

    // An empty CNPJ alone still makes a company.
    const CertificateDetail onlyCnpj = CertificateBuilder().otherName(cnpj, "").build().detail();
    EXPECT_EQ(CompanyIdentity, onlyCnpj.identityKind);
    EXPECT_EQ("", company(onlyCnpj).cnpj);
    // An empty person row: every field empty.
    const CertificateDetail emptyPerson = CertificateBuilder().otherName(person1, "").build().detail();
    EXPECT_EQ(PersonIdentity, emptyPerson.identityKind);
    EXPECT_EQ("", person(emptyPerson).birthDate);
    EXPECT_EQ("", person(emptyPerson).rgIssuer);
}

TEST(IdentityFields, ValueTypesOctetAndPrintableCountUtf8AndOthersAreIgnored)
{
    const CertificateDetail printable =
        CertificateBuilder().otherName(cnpj, "12345678000199", V_ASN1_PRINTABLESTRING).build().detail();
    EXPECT_EQ(CompanyIdentity, printable.identityKind);
    EXPECT_EQ("12345678000199", company(printable).cnpj);

    const CertificateDetail utf8 = CertificateBuilder().otherName(cnpj, "12345678000199", V_ASN1_UTF8STRING).build().detail();
    EXPECT_EQ(NoIdentity, utf8.identityKind);
    EXPECT_EQ(nullptr, utf8.identity);

    const CertificateDetail ia5 = CertificateBuilder().otherName(cnpj, "12345678000199", V_ASN1_IA5STRING).build().detail();
    EXPECT_EQ(NoIdentity, ia5.identityKind);

    // A UTF-8 row among good ones leaves the good ones alone.
    const CertificateDetail mixed = CertificateBuilder()
                                        .otherName(responsible, "RIGHT NAME")
                                        .otherName(responsible, "WRONG NAME", V_ASN1_UTF8STRING)
                                        .build()
                                        .detail();
    EXPECT_EQ("RIGHT NAME", company(mixed).responsibleName);
}

TEST(IdentityFields, MixedPersonAndCompanyRowsKeepOnlyWhatFollowsTheLastChange)
{
    // company, company, person, company: the last change of kind starts a
    // fresh company description, so the CNPJ given before it is gone.
    const CertificateDetail detail = CertificateBuilder()
                                         .otherName(cnpj, "11111111000111")
                                         .otherName(responsible, "FIRST")
                                         .otherName(personCei, "999999999999")
                                         .otherName(companyCei, "000000000000")
                                         .build()
                                         .detail();
    ASSERT_EQ(CompanyIdentity, detail.identityKind);
    EXPECT_EQ("", company(detail).cnpj);
    EXPECT_EQ("", company(detail).responsibleName);
    EXPECT_EQ("000000000000", company(detail).cei);

    // person, company, person: a person with only the last row.
    const CertificateDetail back = CertificateBuilder()
                                       .otherName(person1, "01021980" "12345678901")
                                       .otherName(cnpj, "11111111000111")
                                       .otherName(personCei, "777")
                                       .build()
                                       .detail();
    ASSERT_EQ(PersonIdentity, back.identityKind);
    EXPECT_EQ("", person(back).birthDate);
    EXPECT_EQ("777", person(back).cei);

    // The same OID twice: the later one overwrites.
    const CertificateDetail twice =
        CertificateBuilder().otherName(cnpj, "11111111000111").otherName(cnpj, "22222222000122").build().detail();
    EXPECT_EQ("22222222000122", company(twice).cnpj);
}

TEST(CertificateNames, DisplayNameCommonNameAndEquality)
{
    const Certificate twoNames =
        CertificateBuilder().subject({{"C", "BR"}, {"CN", "First"}, {"OU", "Unit"}, {"CN", "Second"}}).build();
    EXPECT_EQ("Second", twoNames.detail().subjectDisplayName);
    EXPECT_EQ("First", twoNames.commonName());

    const Certificate noCommonName =
        CertificateBuilder().subject({{"O", "Org A"}, {"OU", "Unit A"}, {"OU", "Unit B"}, {"O", "Org B"}}).build();
    EXPECT_EQ("Unit B", noCommonName.detail().subjectDisplayName);
    try {
        noCommonName.commonName();
        FAIL();
    } catch (const BaseException& error) {
        EXPECT_STREQ("Name Entry Not Found", error.what());
    }

    const Certificate onlyOrganization = CertificateBuilder().subject({{"C", "BR"}, {"O", "Org Only"}}).build();
    EXPECT_EQ("Org Only", onlyOrganization.detail().subjectDisplayName);
    // An empty common name gives way to the unit.
    const Certificate emptyCommonName = CertificateBuilder().subject({{"OU", "Unit"}, {"CN", ""}}).build();
    EXPECT_EQ("Unit", emptyCommonName.detail().subjectDisplayName);
    EXPECT_EQ("", Certificate::displayName(nullptr));

    // Name equality ignores order, not values; the stream form keeps order
    // and names unknown types by number.
    const DistinguishedName a =
        CertificateBuilder().subject({{"C", "BR"}, {"O", "X"}, {"1.2.3.4", "v"}}).build().subjectName();
    const DistinguishedName b =
        CertificateBuilder().subject({{"1.2.3.4", "v"}, {"O", "X"}, {"C", "BR"}}).build().subjectName();
    const DistinguishedName c = CertificateBuilder().subject({{"C", "BR"}, {"O", "Y"}, {"1.2.3.4", "v"}}).build().subjectName();
    const DistinguishedName d = CertificateBuilder().subject({{"C", "BR"}, {"O", "X"}}).build().subjectName();
    EXPECT_TRUE(a == b);
    EXPECT_NE(a.der, b.der);
    EXPECT_FALSE(a == c);
    EXPECT_FALSE(a == d);
    EXPECT_FALSE(d == a);
    std::ostringstream text;
    text << a;
    EXPECT_EQ("/C=BR/O=X/1.2.3.4=v", text.str());
    ASSERT_EQ(3u, a.entries.size());
    EXPECT_EQ("2.5.4.6", a.entries[0].oid);
}

TEST(CertificateNames, ValuesStopAtTheFirstZeroByte)
{
    const Certificate certificate = CertificateBuilder()
                                        .subject({{"CN", std::string("evil\0.example", 13)}})
                                        .email(std::string("a@b\0c", 5))
                                        .build();
    EXPECT_EQ("evil", certificate.commonName());
    EXPECT_EQ("a@b", certificate.detail().email);
    // Without an e-mail alternative name, the subject's emailAddress is used.
    const Certificate subjectMail =
        CertificateBuilder().subject({{"CN", "x"}, {"emailAddress", "x@y.z"}, {"emailAddress", "2@y.z"}}).build();
    EXPECT_EQ("x@y.z", subjectMail.detail().email);
    // The alternative name wins over the subject.
    const Certificate both = CertificateBuilder()
                                 .subject({{"CN", "x"}, {"emailAddress", "subject@y.z"}})
                                 .otherName(cnpj, "1")
                                 .email("san@y.z")
                                 .build();
    EXPECT_EQ("san@y.z", both.detail().email);
}

TEST(CertificateCategories, RootsAuthoritiesAndEndEntities)
{
    const Certificate selfSignedCa = CertificateBuilder()
                                         .subject({{"CN", "Root"}})
                                         .extension("basicConstraints", "critical,CA:TRUE")
                                         .extension("subjectKeyIdentifier", "hash")
                                         .build();
    EXPECT_TRUE(selfSignedCa.isRoot());
    EXPECT_TRUE(selfSignedCa.isCa());
    EXPECT_FALSE(selfSignedCa.isLegacyRoot());

    // Self-issued, no CA bit, no basic constraints: a root by the legacy rule.
    const Certificate legacy = CertificateBuilder().subject({{"CN", "Old Root"}}).build();
    EXPECT_TRUE(legacy.isLegacyRoot());
    EXPECT_TRUE(legacy.isRoot());
    EXPECT_TRUE(legacy.isCa());
    EXPECT_FALSE(legacy.isEndEntity());

    // Same without being self-issued: an end entity.
    const Certificate leaf = CertificateBuilder().subject({{"CN", "Leaf"}}).issuer({{"CN", "Root"}}).build();
    EXPECT_FALSE(leaf.isLegacyRoot());
    EXPECT_TRUE(leaf.isEndEntity());
    EXPECT_TRUE(leaf.allowsSubCas());  // no basic constraints

    const Certificate notCa = CertificateBuilder()
                                  .subject({{"CN", "Leaf"}})
                                  .issuer({{"CN", "Root"}})
                                  .extension("basicConstraints", "CA:FALSE")
                                  .build();
    EXPECT_TRUE(notCa.isEndEntity());
    EXPECT_FALSE(notCa.allowsSubCas());

    auto authority = [](const char* constraints) {
        return CertificateBuilder()
            .subject({{"CN", "Sub"}})
            .issuer({{"CN", "Root"}})
            .extension("basicConstraints", constraints)
            .extension("keyUsage", "keyCertSign,cRLSign")
            .build();
    };
    const Certificate pathZero = authority("critical,CA:TRUE,pathlen:0");
    EXPECT_TRUE(pathZero.isFinalCa());
    EXPECT_FALSE(pathZero.isIntermediateCa());
    EXPECT_FALSE(pathZero.isRoot());
    const Certificate pathOne = authority("critical,CA:TRUE,pathlen:1");
    EXPECT_TRUE(pathOne.isIntermediateCa());
    const Certificate noPath = authority("critical,CA:TRUE");
    EXPECT_TRUE(noPath.isIntermediateCa());
    EXPECT_TRUE(noPath.allowsSubCas());
}

TEST(CertificateKeyUsages, MaskOrderAndExtendedUsages)
{
    const Certificate none = CertificateBuilder().extension("extendedKeyUsage", "clientAuth,1.2.3.4.5").build();
    const std::vector<std::string> all = {"Digital Signature", "Non-Repudiation", "Key Encipherment",
                                          "Data Encipherment", "Key Agreement",   "Key Cert Sign",
                                          "Key CRL Sign",      "Key Encipher Only", "Key Decipher Only",
                                          "TLS Web Client Authentication", "1.2.3.4.5"};
    EXPECT_EQ(all, none.keyUsageNames());

    const Certificate some = CertificateBuilder()
                                 .extension("keyUsage", "decipherOnly,keyAgreement,digitalSignature")
                                 .extension("extendedKeyUsage", "emailProtection")
                                 .build();
    EXPECT_EQ((std::vector<std::string>{"Digital Signature", "Key Agreement", "Key Decipher Only", "E-mail Protection"}),
              some.keyUsageNames());
}

// ASN.1 times straight into parseTime.
std::tm parsed(const std::string& text, int type)
{
    ASN1_STRING* time = ASN1_STRING_type_new(type);
    ASN1_STRING_set(time, text.data(), static_cast<int>(text.size()));
    const std::tm result = parseTime(time);
    ASN1_STRING_free(time);
    return result;
}

bool allZero(const std::tm& t)
{
    return t.tm_year == 0 && t.tm_mon == 0 && t.tm_mday == 0 && t.tm_hour == 0 && t.tm_min == 0 && t.tm_sec == 0;
}

TEST(CertificateTimes, UtcCenturyWindowAndBrasiliaRendering)
{
    const Certificate y2049 = CertificateBuilder().notAfter("491231235959Z").build();
    EXPECT_EQ(149, y2049.validity().notAfter().tm_year);
    EXPECT_EQ("31/12/2049", y2049.validity().notAfterDate());
    const Certificate y1950 = CertificateBuilder().notBefore("500101000000Z").notAfter("991231235959Z").build();
    EXPECT_EQ(50, y1950.validity().notBefore().tm_year);
    EXPECT_EQ(99, y1950.validity().notAfter().tm_year);
    EXPECT_EQ("31/12/1999", y1950.validity().notAfterDate());

    // Midnight UTC on the first of a month is still the last day of the
    // month before in Brasília; across a leap day and a year end too.
    EXPECT_EQ("29/02/2024", CertificateBuilder().notAfter("20240301000000Z").build().validity().notAfterDate());
    EXPECT_EQ("28/02/2023", CertificateBuilder().notAfter("230301000000Z").build().validity().notAfterDate());
    EXPECT_EQ("31/12/2030", CertificateBuilder().notAfter("20310101025959Z").build().validity().notAfterDate());
    EXPECT_EQ("01/01/2031", CertificateBuilder().notAfter("20310101030000Z").build().validity().notAfterDate());
    // Far beyond 2038 and in GeneralizedTime.
    EXPECT_EQ("31/12/2099", CertificateBuilder().notAfter("21000101000000Z").build().validity().notAfterDate());
}

TEST(CertificateTimes, ParseTimeRules)
{
    const std::tm seconds = parsed("20250704123456Z", V_ASN1_GENERALIZEDTIME);
    EXPECT_EQ(125, seconds.tm_year);
    EXPECT_EQ(6, seconds.tm_mon);
    EXPECT_EQ(4, seconds.tm_mday);
    EXPECT_EQ(12, seconds.tm_hour);
    EXPECT_EQ(34, seconds.tm_min);
    EXPECT_EQ(56, seconds.tm_sec);

    const std::tm noSeconds = parsed("2501020304Z", V_ASN1_UTCTIME);
    EXPECT_EQ(125, noSeconds.tm_year);
    EXPECT_EQ(3, noSeconds.tm_hour);
    EXPECT_EQ(4, noSeconds.tm_min);
    EXPECT_EQ(0, noSeconds.tm_sec);

    // Without the final Z the last digit still counts.
    EXPECT_EQ(59, parsed("991231235959", V_ASN1_UTCTIME).tm_sec);

    EXPECT_TRUE(allZero(parsed("251302030405Z", V_ASN1_UTCTIME)));    // month 13
    EXPECT_TRUE(allZero(parsed("250002030405Z", V_ASN1_UTCTIME)));    // month 0
    EXPECT_TRUE(allZero(parsed("250102030", V_ASN1_UTCTIME)));        // too short
    EXPECT_TRUE(allZero(parsed("20250102030", V_ASN1_GENERALIZEDTIME)));
    EXPECT_TRUE(allZero(parsed("2501020304+0300", V_ASN1_UTCTIME)));  // offsets are not understood
    EXPECT_TRUE(allZero(parsed("20250102030405.5Z", V_ASN1_GENERALIZEDTIME)));
    EXPECT_TRUE(allZero(parsed("2501020304X", V_ASN1_UTCTIME)));
    EXPECT_TRUE(allZero(parsed("250102030405Z", V_ASN1_OCTET_STRING)));
    EXPECT_TRUE(allZero(parseTime(nullptr)));

    // A zero record (day 0 of January 1900 at midnight UTC) renders without harm.
    EXPECT_EQ("30/12/1899", DateTimeInterval().notAfterDate());
}

} // namespace
