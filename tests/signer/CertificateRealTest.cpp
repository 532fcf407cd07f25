// Real ICP-Brasil certificates that nobody here wrote, read by Certificate
// and checked against the openssl tool and the published facts about them;
// the compiled-in policy table and the published register it comes from.

#include "signer/Certificate.h"
#include "signer/Exceptions.h"
#include "signer/NarrowConverter.h"
#include "signer/PolicyTable.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/mock/EnvironmentScope.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <ctime>
#include <iomanip>
#include <map>
#include <sstream>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

// What one run of `openssl x509 -noout ...` prints of a certificate:
// "name=value" lines, and each extension as its header and indented lines.
struct ToolView {
    std::map<std::string, std::string> fields;
    std::map<std::string, std::vector<std::string>> extensions;
};

ToolView toolView(const std::string& path)
{
    std::istringstream lines(openssl({"x509", "-in", path, "-noout", "-serial", "-fingerprint", "-sha1", "-enddate",
                                      "-subject", "-issuer", "-nameopt", "compat", "-ext",
                                      "keyUsage,extendedKeyUsage,certificatePolicies,basicConstraints"}));
    ToolView view;
    std::vector<std::string>* extension = nullptr;
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("    ", 0) == 0 && extension) {
            extension->push_back(line.substr(line.find_first_not_of(' ')));
        } else if (line.rfind("X509v3 ", 0) == 0) {
            extension = &view.extensions[line.substr(7, line.find(':') - 7)];
        } else if (line.find('=') != std::string::npos) {
            const auto at = line.find('=');
            view.fields[line.substr(0, at)] = line.substr(at + 1);
        }
    }
    return view;
}

std::vector<std::string> splitList(const std::vector<std::string>& lines)
{
    std::vector<std::string> parts;
    std::istringstream in(lines.empty() ? "" : lines.front());
    std::string part;
    while (std::getline(in, part, ','))
        parts.push_back(part.substr(part.find_first_not_of(' ')));
    return parts;
}

// The policy register as published, read here on its own so that the
// compiled table is checked against the source and not against itself.
std::map<std::string, std::string> registerRows()
{
    std::map<std::string, std::string> rows;
    std::istringstream in(readFileBytes(icpBrasil("policy-oids/icp-brasil-oids.tsv")));
    std::string line;
    while (std::getline(in, line)) {
        const auto tab = line.find('\t');
        if (tab != std::string::npos)
            rows[line.substr(0, tab)] = line.substr(tab + 1);
    }
    return rows;
}

std::string expectedPolicyText(const std::map<std::string, std::string>& rows, const std::string& oid,
                               const std::string& described)
{
    const auto row = rows.find(oid);
    const bool policyArc = oid.rfind("2.16.76.1.1", 0) == 0 || oid.rfind("2.16.76.1.2", 0) == 0;
    std::string expected = row != rows.end() && policyArc ? row->second : "(" + oid + ")";
    if (oid == "2.16.76.1.1.0")
        expected = "DPC da AC Raiz";
    // A row derived from authority certificates reads "<kind> da <authority>".
    const std::string derived = "[derivado] ";
    if (expected.rfind(derived, 0) == 0)
        expected = expected.substr(derived.size(), expected.find(" declarada") - derived.size()) + " da "
                   + described.substr(described.find(" da ") + 4);
    return expected;
}

TEST(RealCertificates, EveryFieldAgreesWithTheOpensslTool)
{
    // OpenSSL's spelling of the key usage bits where ours differs.
    const std::map<std::string, std::string> spelling = {{"Non Repudiation", "Non-Repudiation"},
                                                     {"Certificate Sign", "Key Cert Sign"},
                                                     {"CRL Sign", "Key CRL Sign"},
                                                     {"Encipher Only", "Key Encipher Only"},
                                                     {"Decipher Only", "Key Decipher Only"}};
    const auto rows = registerRows();
    std::vector<std::string> files;
    for (const char* folder : {"end-entity", "ca/intermediates", "ca/roots", "ca/test-pki"})
        for (const std::string& file : realFiles(folder))
            files.push_back(file);
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        const std::string path = icpBrasil(file);
        const Certificate certificate = Certificate::fromText(readFileBytes(path));
        ASSERT_FALSE(certificate.isNull());
        ToolView tool = toolView(path);

        EXPECT_EQ(normalizeFingerprint(tool.fields["sha1 Fingerprint"]), certificate.fingerprint());
        std::string serial = tool.fields["serial"];
        EXPECT_EQ(normalizeFingerprint(serial.size() % 2 ? "0" + serial : serial), certificate.serialNumber());
        std::ostringstream subject, issuer;
        subject << certificate.subjectName();
        issuer << certificate.issuerName();
        EXPECT_EQ(tool.fields["subject"], subject.str());
        EXPECT_EQ(tool.fields["issuer"], issuer.str());

        // fromText takes all three forms.
        const std::string der = openssl({"x509", "-in", path, "-outform", "DER"});
        EXPECT_EQ(der, asText(certificate.toDer()));
        EXPECT_EQ(openssl({"x509", "-in", path}), certificate.toPem());
        EXPECT_TRUE(Certificate::fromText(der) == certificate);
        EXPECT_TRUE(Certificate::fromText(base64Encode(Bytes(der.begin(), der.end()))) == certificate);

        // Key usages (every one of these certificates has the extension), then the extended ones.
        std::vector<std::string> usages;
        for (const std::string& bit : splitList(tool.extensions["Key Usage"]))
            usages.push_back(spelling.count(bit) ? spelling.at(bit) : bit);
        for (const std::string& extended : splitList(tool.extensions["Extended Key Usage"]))
            usages.push_back(extended);
        EXPECT_EQ(usages, certificate.keyUsageNames());

        std::vector<std::string> oids;
        for (const std::string& line : tool.extensions["Certificate Policies"])
            if (line.rfind("Policy: ", 0) == 0)
                oids.push_back(line.substr(8));
        EXPECT_EQ(oids, certificate.policyOids());
        const CertificateDetail detail = certificate.detail();
        ASSERT_EQ(oids.size(), detail.policyDescriptions.size());
        for (std::size_t i = 0; i < oids.size(); ++i) {
            const std::string described = narrowConverter.to_bytes(detail.policyDescriptions[i]);
            EXPECT_EQ(expectedPolicyText(rows, oids[i], described), described) << oids[i];
        }

        // The end of validity, worked out with the C library from the tool's
        // "notAfter=Apr 10 13:28:58 2020 GMT", is the Brasília day in any
        // time zone.
        std::tm utc{};
        std::istringstream end(tool.fields["notAfter"]);
        end >> std::get_time(&utc, "%b %d %H:%M:%S %Y");
        ASSERT_FALSE(end.fail()) << tool.fields["notAfter"];
        const std::time_t instant = timegm(&utc), inBrasilia = instant - 3 * 3600;
        char day[16];
        std::strftime(day, sizeof day, "%d/%m/%Y", gmtime_r(&inBrasilia, &utc));
        for (const char* zone : {"UTC0", "Pacific/Kiritimati", "Etc/GMT+12"}) {
            orvane::test::EnvironmentScope timeZone("TZ", zone);
            tzset();
            const DateTimeInterval validity = Certificate::fromText(readFileBytes(path)).detail().validity;
            EXPECT_EQ(day, validity.notAfterDate()) << zone;
            std::tm notAfter = validity.notAfter();
            EXPECT_EQ(instant, timegm(&notAfter)) << zone;
        }
        tzset();

        // Authorities: a path length of 0 makes a final one.
        if (certificate.isCa() && !certificate.isRoot() && file.rfind("ca/roots/", 0) != 0) {
            const auto& constraints = tool.extensions["Basic Constraints"];
            const bool pathZero = !constraints.empty() && constraints[0].find("pathlen:0") != std::string::npos;
            EXPECT_EQ(pathZero, certificate.isFinalCa());
            EXPECT_NE(certificate.isIntermediateCa(), certificate.isFinalCa());
        }
    }
    // The ones that the end-entity certificates carry, spelled out.
    EXPECT_EQ(L"Pol\u00edtica de Certificado de Assinatura Digital Tipo A1 da Autoridade Certificadora CertiSign "
              L"para a Secretaria da Receita Federal",
              loadCertificate("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem").detail().policyDescriptions.at(0));
    EXPECT_TRUE(loadCertificate("end-entity/test-nfe-associacao-99999090910270-2009.pem").policyOids().empty());
}

TEST(RealCertificates, NamesEmailAndIdentityFieldsOfEndEntities)
{
    // From the published contents of each certificate; the identity values
    // are the fixed-width cuts of the otherName records, so a record that
    // stops short of a field leaves that field empty (rgIssuer "SSPSP" has
    // only five of its six bytes).
    struct Facts {
        const char* file;
        const char* subject;
        const char* issuer;
        const char* email;
        std::int32_t kind;
        std::vector<std::string> fields;  // in the order of the description's members
    };
    const std::vector<Facts> facts = {
        {"end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem", "KABUM COMERCIO ELETRONICO S A:05570714000825",
         "AC Certisign RFB G5", "fiscal@kabum.com.br", CompanyIdentity,
         {"07121984", "32754282840", "00000000000", "000000041004028", "", "LEANDRO CAMARGO RAMOS",
          "05570714000825", "000000000000"}},
        {"end-entity/ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015.pem", "ADEMIR ALVES HENRIQUE:80767940130",
         "AC DIGITALSIGN RFB", "ademir@sabedoriacontabil.com.br", PersonIdentity,
         {"10121978", "80767940130", "00000000000", "000000000000000", "", "000000000000", "000000000000", "000",
          "0000", ""}},
        {"end-entity/test-ecpf-lacuna-alan-mathison-turing-2016.pem", "Alan Mathison Turing", "Lacuna CA",
         "testturing@lacunasoftware.com", PersonIdentity,
         {"01011970", "56072386105", "00000000000", "000000050901751", "", "454147660721", "246564861813", "777",
          "6666", ""}},
    };
    for (const Facts& fact : facts) {
        SCOPED_TRACE(fact.file);
        const Certificate certificate = loadCertificate(fact.file);
        const CertificateDetail detail = certificate.detail();
        EXPECT_EQ(fact.subject, detail.subjectDisplayName);
        EXPECT_EQ(fact.issuer, detail.issuerDisplayName);
        EXPECT_EQ(fact.email, detail.email);
        ASSERT_EQ(fact.kind, detail.identityKind);
        EXPECT_EQ(fact.fields, identityFields(detail));
    }
}

TEST(RealCertificates, RootsPublicKeysAndSignatureChecks)
{
    for (const std::string& file : realFiles("ca/roots")) {
        SCOPED_TRACE(file);
        const Certificate root = loadCertificate(file);
        // v7's key algorithm is unknown to OpenSSL, which therefore does not
        // mark it self-signed: it counts as an intermediate authority.
        const bool v7 = file == "ca/roots/icp-brasil-raiz-v7.pem";
        EXPECT_TRUE(root.isCa());
        EXPECT_EQ(!v7, root.isRoot());
        EXPECT_EQ(v7, root.isIntermediateCa());
    }

    const std::string kabum = "end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem";
    const Certificate leaf = loadCertificate(kabum);
    const PublicKey key = leaf.publicKey();
    EXPECT_EQ(openssl({"x509", "-in", icpBrasil(kabum), "-noout", "-pubkey"}), Certificate::publicKeyPem(key));
    const Certificate issuer = loadCertificate("ca/intermediates/ac-certisign-rfb-g5.pem");
    const Certificate unrelated = loadCertificate("ca/intermediates/ac-certisign-g6.pem");
    EXPECT_TRUE(leaf.isVerifiedBy(issuer));
    EXPECT_FALSE(leaf.isVerifiedBy(unrelated));

    // Leading zero bytes of the exponent do not count; of the modulus they do.
    PublicKey padded = key;
    padded.exponent.insert(padded.exponent.begin(), 2, 0);
    EXPECT_TRUE(padded == key);
    padded.modulus.insert(padded.modulus.begin(), 0);
    EXPECT_FALSE(padded == key);

    // Roots whose keys are not RSA have no PublicKey, yet their
    // self-signature checks out; v7's key OpenSSL does not know at all.
    for (const auto& [file, message] : std::vector<std::pair<std::string, std::string>>{
             {"ca/roots/icp-brasil-raiz-v4.pem", "Cannot get RSA key from private key"},
             {"ca/roots/icp-brasil-raiz-v13.pem", "Cannot get RSA key from private key"},
             {"ca/roots/icp-brasil-raiz-v7.pem", "Error unpacking public key"}}) {
        const Certificate root = loadCertificate(file);
        EXPECT_EQ(message, failureOf<BaseException>([&] { root.publicKey(); })) << file;
        EXPECT_TRUE(!root.isRoot() || root.isVerifiedBy(root)) << file;
    }
}

TEST(PolicyTable, IsSortedWithoutDuplicatesAndHoldsTheFixedRows)
{
    ASSERT_GT(policyTableSize, 175u);
    // Arcs compare as numbers, so the lookup's order is not the text's.
    EXPECT_TRUE(oidLess(L"2.16.76.1.2.2", L"2.16.76.1.2.10") && oidLess(L"2.16", L"2.16.1"));
    EXPECT_FALSE(oidLess(L"2.16.76.1.2.10", L"2.16.76.1.2.2") || oidLess(L"2.16", L"2.16"));
    for (std::size_t i = 0; i < policyTableSize; ++i) {
        // Strictly sorted, so without duplicates.
        EXPECT_TRUE(i == 0 || (oidLess(policyTable[i - 1].oid, policyTable[i].oid)
                               && !oidLess(policyTable[i].oid, policyTable[i - 1].oid)))
            << i;
        const std::wstring oid = policyTable[i].oid;
        EXPECT_TRUE(oid.rfind(L"2.16.76.1.1", 0) == 0 || oid.rfind(L"2.16.76.1.2", 0) == 0) << i;
        // People read these: no compiler's notes, no sources.
        const std::wstring description = policyTable[i].description;
        for (const wchar_t* note : {L"[derivado]", L"declarada no certificado", L"\u2014", L"http", L"registro de"})
            EXPECT_EQ(std::wstring::npos, description.find(note)) << i;
    }
    EXPECT_EQ(std::wstring(L"2.16.76.1.1"), policyTable[0].oid);
    // Beyond the real certificates' policies: a row derived from an
    // authority certificate, and lookups that find exact rows only.
    const std::vector<std::pair<std::string, std::wstring>> lookups = {
        {"2.16.76.1.1.0", L"DPC da AC Raiz"},
        {"2.16.76.1.2.303.6", L"PC de Carimbo de Tempo T3 da AC Certisign Tempo"},
        {"2.16.76.1.2.1.11.1", L"(2.16.76.1.2.1.11.1)"},
        {"2.16.76.1", L"(2.16.76.1)"},
        {"", L"()"},
        {"2.16.76.1.3.1", L"(2.16.76.1.3.1)"},  // otherwise-named arcs of the register are not policies
    };
    for (const auto& [oid, description] : lookups)
        EXPECT_EQ(description, policyDescription(oid)) << oid;
}

TEST(PolicyTable, CheckedInSourceIsWhatTheScriptMakesOfTheRegister)
{
    orvane::test::TempDir dir;
    const std::string output = dir.file("PolicyTableData.cpp");
    const orvane::test::ProcessResult result = orvane::test::runProcess(
        {ORVANE_SYSTEM_PYTHON, std::string(ORVANE_SOURCE_DIR) + "/signer/tools/make_policy_table.py",
         icpBrasil("policy-oids/icp-brasil-oids.tsv"), output});
    ASSERT_EQ(0, result.exitCode) << result.err;
    EXPECT_EQ(readFileBytes(std::string(ORVANE_SOURCE_DIR) + "/signer/PolicyTableData.cpp"),
              readFileBytes(output));
}

} // namespace
