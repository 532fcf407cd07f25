// Real ICP-Brasil certificates that nobody here wrote, read by Certificate
// and checked against the openssl tool and the published facts about them.

#include "signer/Certificate.h"
#include "signer/Exceptions.h"
#include "signer/NarrowConverter.h"
#include "signer/PolicyTable.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

std::vector<std::string> allRealCertificates()
{
    std::vector<std::string> files = realEndEntities();
    for (const auto& list : {realIntermediates(), realRoots()})
        files.insert(files.end(), list.begin(), list.end());
    for (const char* file : {"ca/test-pki/lacuna-ca.pem", "ca/test-pki/lacuna-root-test-v1.pem",
                             "ca/test-pki/nfe-teste-ac-intermediaria-1.pem", "ca/test-pki/nfe-teste-ac-raiz.pem"})
        files.emplace_back(file);
    return files;
}

// "key=value" from the openssl tool's one-line output.
std::string afterEquals(const std::string& line)
{
    std::string value = line.substr(line.find('=') + 1);
    while (!value.empty() && (value.back() == '\n' || value.back() == '\r'))
        value.pop_back();
    return value;
}

std::string lowerPairs(const std::string& hex)
{
    return normalizeFingerprint(hex);
}

std::string readAllOf(const std::string& path)
{
    return readFileBytes(path);
}

// The policy register as published, read here on its own so that the
// compiled table is checked against the source and not against itself.
std::map<std::string, std::string> registerRows()
{
    std::map<std::string, std::string> rows;
    std::istringstream in(readAllOf(icpBrasil("policy-oids/icp-brasil-oids.tsv")));
    std::string line;
    while (std::getline(in, line)) {
        const auto tab = line.find('\t');
        if (tab != std::string::npos)
            rows[line.substr(0, tab)] = line.substr(tab + 1);
    }
    return rows;
}

class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* zone)
    {
        const char* old = std::getenv("TZ");
        had_ = old != nullptr;
        if (had_)
            old_ = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTimeZone()
    {
        if (had_)
            setenv("TZ", old_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool had_ = false;
    std::string old_;
};

TEST(RealCertificates, FingerprintSerialAndEncodingsAgreeWithTheOpensslTool)
{
    orvane::test::TempDir dir;
    for (const std::string& file : allRealCertificates()) {
        SCOPED_TRACE(file);
        const std::string path = icpBrasil(file);
        const std::string pem = readAllOf(path);
        const Certificate fromPem = Certificate::fromText(pem);
        ASSERT_FALSE(fromPem.isNull());

        const std::string fingerprint =
            afterEquals(openssl({"x509", "-in", path, "-noout", "-fingerprint", "-sha1"}));
        EXPECT_EQ(lowerPairs(fingerprint), fromPem.fingerprint());
        EXPECT_EQ(59u, fromPem.fingerprint().size());

        std::string serial = afterEquals(openssl({"x509", "-in", path, "-noout", "-serial"}));
        if (serial.size() % 2)
            serial = "0" + serial;
        EXPECT_EQ(lowerPairs(serial), fromPem.serialNumber());

        const std::string derPath = dir.file("c.der");
        openssl({"x509", "-in", path, "-outform", "DER", "-out", derPath});
        const std::string der = readAllOf(derPath);
        const Bytes ours = fromPem.toDer();
        EXPECT_EQ(der, std::string(ours.begin(), ours.end()));

        // The same certificate through the other two doors of fromText.
        const Certificate fromDer = Certificate::fromText(der);
        Bytes derBytes(der.begin(), der.end());
        const Certificate fromBase64 = Certificate::fromText(base64Encode(derBytes));
        EXPECT_EQ(fromPem.fingerprint(), fromDer.fingerprint());
        EXPECT_EQ(fromPem.fingerprint(), fromBase64.fingerprint());
        EXPECT_TRUE(fromPem == fromDer);
        EXPECT_TRUE(fromPem == fromBase64);

        // toPem is what the tool writes for it.
        EXPECT_EQ(openssl({"x509", "-in", path}), fromPem.toPem());

        // The stream form of the names is OpenSSL's one-line form.
        std::ostringstream subject;
        subject << fromPem.subjectName();
        EXPECT_EQ(afterEquals(openssl({"x509", "-in", path, "-noout", "-subject", "-nameopt", "compat"})),
                  subject.str());
        std::ostringstream issuer;
        issuer << fromPem.issuerName();
        EXPECT_EQ(afterEquals(openssl({"x509", "-in", path, "-noout", "-issuer", "-nameopt", "compat"})),
                  issuer.str());
    }
}

TEST(RealCertificates, KeyUsagesAreThoseThatOpensslPrints)
{
    // OpenSSL's spelling of the key usage bits, in the order that it prints them.
    const std::map<std::string, std::string> ours = {
        {"Digital Signature", "Digital Signature"}, {"Non Repudiation", "Non-Repudiation"},
        {"Key Encipherment", "Key Encipherment"},   {"Data Encipherment", "Data Encipherment"},
        {"Key Agreement", "Key Agreement"},         {"Certificate Sign", "Key Cert Sign"},
        {"CRL Sign", "Key CRL Sign"},               {"Encipher Only", "Key Encipher Only"},
        {"Decipher Only", "Key Decipher Only"},
    };
    for (const std::string& file : allRealCertificates()) {
        SCOPED_TRACE(file);
        const std::string path = icpBrasil(file);
        std::vector<std::string> expected;
        auto addLine = [&](const std::string& extension, bool translate) {
            const std::string out = openssl({"x509", "-in", path, "-noout", "-ext", extension});
            const auto header = out.find('\n');
            if (header == std::string::npos)
                return;
            std::string line = out.substr(header + 1);
            line = line.substr(line.find_first_not_of(' '));
            line = line.substr(0, line.find('\n'));
            std::istringstream parts(line);
            std::string part;
            while (std::getline(parts, part, ',')) {
                part = part.substr(part.find_first_not_of(' '));
                expected.push_back(translate ? ours.at(part) : part);
            }
        };
        addLine("keyUsage", true);
        const Certificate certificate = loadCertificate(file);
        if (expected.empty()) {
            // No key usage extension: all nine, then the extended ones.
            expected = {"Digital Signature", "Non-Repudiation", "Key Encipherment", "Data Encipherment",
                        "Key Agreement",     "Key Cert Sign",   "Key CRL Sign",     "Key Encipher Only",
                        "Key Decipher Only"};
        }
        addLine("extendedKeyUsage", false);
        EXPECT_EQ(expected, certificate.keyUsageNames());
    }
}

TEST(RealCertificates, PoliciesAreDescribedFromTheRegister)
{
    const auto rows = registerRows();
    for (const std::string& file : allRealCertificates()) {
        SCOPED_TRACE(file);
        std::vector<std::string> expectedOids;
        std::istringstream lines(openssl({"x509", "-in", icpBrasil(file), "-noout", "-ext", "certificatePolicies"}));
        std::string line;
        while (std::getline(lines, line)) {
            const auto at = line.find("Policy: ");
            if (at != std::string::npos)
                expectedOids.push_back(line.substr(at + 8));
        }
        const Certificate certificate = loadCertificate(file);
        const std::vector<std::string> oids = certificate.policyOids();
        EXPECT_EQ(expectedOids, oids);

        const CertificateDetail detail = certificate.detail();
        ASSERT_EQ(oids.size(), detail.policyDescriptions.size());
        for (std::size_t i = 0; i < oids.size(); ++i) {
            const auto row = rows.find(oids[i]);
            const bool policyArc = oids[i].rfind("2.16.76.1.1", 0) == 0 || oids[i].rfind("2.16.76.1.2", 0) == 0;
            std::string expected = "(" + oids[i] + ")";
            if (row != rows.end() && policyArc)
                expected = row->second;
            if (oids[i] == "2.16.76.1.1.0")
                expected = "DPC da AC Raiz";
            const std::string described = narrowConverter.to_bytes(detail.policyDescriptions[i]);
            // A row derived from authority certificates reads "<kind> da <authority>".
            const std::string derived = "[derivado] ";
            if (expected.rfind(derived, 0) == 0)
                expected = expected.substr(derived.size(), expected.find(" declarada") - derived.size()) + " da "
                           + described.substr(described.find(" da ") + 4);
            EXPECT_EQ(expected, described) << oids[i];
        }
    }
    // The ones that the end-entity certificates carry, spelled out.
    EXPECT_EQ(L"Pol\u00edtica de Certificado de Assinatura Digital Tipo A1 da Autoridade Certificadora CertiSign "
              L"para a Secretaria da Receita Federal",
              loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem").detail().policyDescriptions.at(0));
    EXPECT_EQ(L"(2.16.76.1.2.1.0)",
              loadCertificate("end-entity/test-ecpf-lacuna-alan-mathison-turing-2016.pem")
                  .detail()
                  .policyDescriptions.at(0));
    // An empty policies extension lists nothing.
    EXPECT_TRUE(loadCertificate("end-entity/test-nfe-associacao-99999090910270-2009.pem").policyOids().empty());
}

TEST(RealCertificates, EndOfValidityIsTheBrasiliaDayInAnyTimeZone)
{
    struct Expected {
        std::string file;
        std::tm utc;
        std::string brasiliaDay;
    };
    std::vector<Expected> expectations;
    for (const std::string& file : allRealCertificates()) {
        // "notAfter=Apr 10 13:28:58 2020 GMT", worked out with the C library.
        const std::string end = afterEquals(openssl({"x509", "-in", icpBrasil(file), "-noout", "-enddate"}));
        std::tm utc{};
        std::istringstream in(end);
        in >> std::get_time(&utc, "%b %d %H:%M:%S %Y");
        ASSERT_FALSE(in.fail()) << end;
        const std::time_t instant = timegm(&utc) - 3 * 3600;
        std::tm brasilia{};
        gmtime_r(&instant, &brasilia);
        char day[16];
        std::strftime(day, sizeof day, "%d/%m/%Y", &brasilia);
        expectations.push_back({file, utc, day});
    }
    for (const char* zone : {"UTC0", "America/Sao_Paulo", "Asia/Tokyo", "Pacific/Kiritimati", "Etc/GMT+12",
                             "CET-1CEST,M3.5.0,M10.5.0/3"}) {
        ScopedTimeZone timeZone(zone);
        for (const Expected& expected : expectations) {
            SCOPED_TRACE(std::string(zone) + " " + expected.file);
            const DateTimeInterval validity = loadCertificate(expected.file).detail().validity;
            EXPECT_EQ(expected.brasiliaDay, validity.notAfterDate());
            EXPECT_EQ(expected.utc.tm_year, validity.notAfter().tm_year);
            EXPECT_EQ(expected.utc.tm_mon, validity.notAfter().tm_mon);
            EXPECT_EQ(expected.utc.tm_mday, validity.notAfter().tm_mday);
            EXPECT_EQ(expected.utc.tm_hour, validity.notAfter().tm_hour);
            EXPECT_EQ(expected.utc.tm_min, validity.notAfter().tm_min);
            EXPECT_EQ(expected.utc.tm_sec, validity.notAfter().tm_sec);
        }
    }
    EXPECT_EQ("27/06/2017",
              loadCertificate("end-entity/pj-a1-grendene-certisign-multipla-g5-2016.pem").detail().validity.notAfterDate());
}

struct EndEntityFacts {
    const char* file;
    const char* subject;
    const char* issuer;
    const char* email;
    std::int32_t kind;
    std::vector<std::string> fields;  // in the order of the description's members
};

std::vector<std::string> fieldsOf(const CertificateDetail& detail)
{
    if (detail.identityKind == PersonIdentity) {
        const auto& p = dynamic_cast<const PersonDescription&>(*detail.identity);
        return {p.birthDate, p.cpf,     p.pis,       p.rg,           p.rgIssuer,
                p.cei,       p.voterId, p.voterZone, p.voterSection, p.voterCity};
    }
    if (detail.identityKind == CompanyIdentity) {
        const auto& c = dynamic_cast<const CompanyDescription&>(*detail.identity);
        return {c.birthDate, c.cpf, c.pis, c.rg, c.rgIssuer, c.responsibleName, c.cnpj, c.cei};
    }
    return {};
}

TEST(RealCertificates, NamesEmailAndIdentityFieldsOfEndEntities)
{
    // From the published contents of each certificate; the identity values
    // are the fixed-width cuts of the otherName records, so a record that
    // stops short of a field leaves that field empty (rgIssuer "SSPSP" has
    // only five of its six bytes).
    const std::vector<EndEntityFacts> facts = {
        {"end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem", "KABUM COMERCIO ELETRONICO S A:05570714000825",
         "AC Certisign RFB G5", "fiscal@kabum.com.br", CompanyIdentity,
         {"07121984", "32754282840", "00000000000", "000000041004028", "", "LEANDRO CAMARGO RAMOS",
          "05570714000825", "000000000000"}},
        {"end-entity/ecnpj-a1-lemos-e-marques-certisign-rfb-g5-2020.pem", "LEMOS E MARQUES LTDA:01243220000109",
         "AC Certisign RFB G5", "werner@lemarq.com.br", CompanyIdentity,
         {"24041966", "48090492487", "00000000000", "000000000750716", "ITEPRN", "WERNER DE PAIVA MARQUES",
          "01243220000109", "000000000000"}},
        {"end-entity/ecnpj-a1-expand-syngularid-multipla-2024.pem",
         "EXPAND TECNOLOGIA E INFORMATICA LTDA:07806808000100", "AC SyngularID Multipla",
         "suporteexpand@hotmail.com", CompanyIdentity,
         {"26011971", "50817116168", "00000000000", "000000000000000", "000000", "RUBENS ATAIDES ARRUDA",
          "07806808000100", "000000000000"}},
        {"end-entity/pj-a1-grendene-certisign-multipla-g5-2016.pem", "GRENDENE S A", "AC Certisign Multipla G5",
         "josiane.bianchini@grendene.com.br", CompanyIdentity,
         {"14021953", "14841142991", "00000000000", "000002031094441", "", "GELSON LUIS ROSTIROLLA",
          "89850341000160", "000000000000"}},
        {"end-entity/ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015.pem", "ADEMIR ALVES HENRIQUE:80767940130",
         "AC DIGITALSIGN RFB", "ademir@sabedoriacontabil.com.br", PersonIdentity,
         {"10121978", "80767940130", "00000000000", "000000000000000", "", "000000000000", "000000000000", "000",
          "0000", ""}},
        {"end-entity/test-ecpf-lacuna-alan-mathison-turing-2016.pem", "Alan Mathison Turing", "Lacuna CA",
         "testturing@lacunasoftware.com", PersonIdentity,
         {"01011970", "56072386105", "00000000000", "000000050901751", "", "454147660721", "246564861813", "777",
          "6666", ""}},
        {"end-entity/test-nfe-associacao-99999090910270-2009.pem", "NFe - Associacao NF-e:99999090910270",
         "NFe - AC Intermediaria 1", "dft-nfe@procergs.rs.gov.br", CompanyIdentity,
         {"22081977", "99999999999", "00000000000", "000000000000000", "", "DFT-NFe", "99999090910270",
          "000000000000"}},
    };
    for (const EndEntityFacts& fact : facts) {
        SCOPED_TRACE(fact.file);
        const Certificate certificate = loadCertificate(fact.file);
        const CertificateDetail detail = certificate.detail();
        EXPECT_EQ(fact.subject, detail.subjectDisplayName);
        EXPECT_EQ(fact.issuer, detail.issuerDisplayName);
        EXPECT_EQ(fact.subject, certificate.commonName());
        EXPECT_EQ(fact.email, detail.email);
        EXPECT_EQ(certificate.serialNumber(), detail.serial);
        EXPECT_EQ(certificate.fingerprint(), detail.fingerprint);
        EXPECT_EQ(fact.kind, detail.identityKind);
        EXPECT_EQ(fact.fields, fieldsOf(detail));
        EXPECT_TRUE(certificate.isEndEntity());
        EXPECT_FALSE(certificate.isCa());
        EXPECT_FALSE(certificate.isRoot());
    }
}

TEST(RealCertificates, CategoriesOfAuthorities)
{
    for (const std::string& file : realRoots()) {
        SCOPED_TRACE(file);
        const Certificate root = loadCertificate(file);
        if (file == "ca/roots/icp-brasil-raiz-v7.pem") {
            // Its key algorithm is unknown to OpenSSL, which therefore does
            // not mark it self-signed: without a root flag it counts as an
            // intermediate authority, and a chain cannot end on it.
            EXPECT_TRUE(root.isCa());
            EXPECT_FALSE(root.isRoot());
            EXPECT_TRUE(root.isIntermediateCa());
            continue;
        }
        EXPECT_TRUE(root.isCa());
        EXPECT_TRUE(root.isRoot());
        EXPECT_FALSE(root.isIntermediateCa());
        EXPECT_FALSE(root.isFinalCa());
        EXPECT_TRUE(root.subjectName() == root.issuerName());
    }
    for (const std::string& file : realIntermediates()) {
        SCOPED_TRACE(file);
        const Certificate authority = loadCertificate(file);
        EXPECT_TRUE(authority.isCa());
        EXPECT_FALSE(authority.isRoot());
        EXPECT_FALSE(authority.isEndEntity());
        EXPECT_NE(authority.isIntermediateCa(), authority.isFinalCa());
        // What the tool prints of the basic constraints decides which.
        const std::string constraints = openssl({"x509", "-in", icpBrasil(file), "-noout", "-ext", "basicConstraints"});
        const bool pathZero = constraints.find("pathlen:0") != std::string::npos;
        EXPECT_EQ(pathZero, authority.isFinalCa()) << constraints;
    }
    EXPECT_TRUE(loadCertificate("ca/intermediates/ac-digitalsign-rfb.pem").isFinalCa());
    EXPECT_TRUE(loadCertificate("ca/intermediates/ac-certisign-rfb-g5.pem").isIntermediateCa());
}

TEST(RealCertificates, PublicKeysAndSignatureChecks)
{
    const Certificate leaf = loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem");
    const Certificate issuer = loadCertificate("ca/intermediates/ac-certisign-rfb-g5.pem");
    const Certificate unrelated = loadCertificate("ca/intermediates/ac-certisign-g6.pem");

    const PublicKey key = leaf.publicKey();
    EXPECT_EQ(256u, key.modulus.size());
    EXPECT_NE(0, key.modulus[0]);
    EXPECT_EQ((Bytes{0x01, 0x00, 0x01}), key.exponent);
    EXPECT_TRUE(key.reserved.empty());

    // The PEM form is the tool's "PUBLIC KEY" of the certificate.
    EXPECT_EQ(openssl({"x509", "-in", icpBrasil("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem"), "-noout",
                       "-pubkey"}),
              Certificate::publicKeyPem(key));

    EXPECT_TRUE(leaf.isVerifiedBy(issuer.publicKey()));
    EXPECT_FALSE(leaf.isVerifiedBy(unrelated.publicKey()));
    EXPECT_TRUE(leaf.isVerifiedBy(issuer));
    EXPECT_FALSE(leaf.isVerifiedBy(unrelated));

    // Leading zero bytes of the exponent do not count; of the modulus they do.
    PublicKey padded = key;
    padded.exponent.insert(padded.exponent.begin(), 2, 0);
    EXPECT_TRUE(padded == key);
    padded.modulus.insert(padded.modulus.begin(), 0);
    EXPECT_FALSE(padded == key);

    // Roots whose keys are not RSA parse and classify, but have no PublicKey.
    for (const char* file : {"ca/roots/icp-brasil-raiz-v4.pem", "ca/roots/icp-brasil-raiz-v6.pem",
                             "ca/roots/icp-brasil-raiz-v13.pem"}) {
        const Certificate root = loadCertificate(file);
        EXPECT_TRUE(root.isRoot()) << file;
        try {
            root.publicKey();
            ADD_FAILURE() << file;
        } catch (const BaseException& error) {
            EXPECT_STREQ("Cannot get RSA key from private key", error.what());
        }
        // Yet their self-signature checks out with their own key.
        EXPECT_TRUE(root.isVerifiedBy(root)) << file;
    }
    // A key algorithm that OpenSSL does not know at all.
    try {
        loadCertificate("ca/roots/icp-brasil-raiz-v7.pem").publicKey();
        ADD_FAILURE();
    } catch (const BaseException& error) {
        EXPECT_STREQ("Error unpacking public key", error.what());
    }
}

} // namespace
