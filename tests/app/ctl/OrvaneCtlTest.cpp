// orvanectl run as a process on real and generated certificates; what it
// prints is read back by Python's json module and compared with the openssl
// tool.

#include "app/ctl/JsonOutput.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace orvane::test;
using namespace orvane::test::signer;

namespace {

ProcessResult orvanectl(const std::vector<std::string>& arguments)
{
    std::vector<std::string> argv{ORVANECTL};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return runProcess(argv);
}

// Python reads each line as JSON and prints `expression` of it.
std::string pythonOnLines(const std::string& lines, const std::string& expression)
{
    const std::string script = "import json, sys\nfor line in sys.stdin:\n    d = json.loads(line)\n    print(" +
                               expression + ")\n";
    const ProcessResult result = runProcess({ORVANE_SYSTEM_PYTHON, "-c", script}, lines);
    EXPECT_EQ(0, result.exitCode) << result.err;
    return result.out;
}

std::string line(const std::string& text) { return text.substr(0, text.find('\n')); }

TEST(OrvaneCtlCertShow, RealCertificatesAsOrvaneSeesThem)
{
    const std::string kabum = icpBrasil("end-entity/ecnpj-a1-kabum-certisign-rfb-g5-2019.pem");
    const std::string ademir = icpBrasil("end-entity/ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015.pem");
    const ProcessResult result = orvanectl({"cert", "show", kabum, ademir});
    ASSERT_EQ(0, result.exitCode) << result.err;
    EXPECT_EQ("", result.err);

    const std::string summary = pythonOnLines(
        result.out, "d['subject'], '|', d['issuer'], '|', d['fingerprint'], '|', d['serial'], '|', d['notAfter'], '|', "
                    "d['email'], '|', ','.join(d['keyUsages']), '|', d['policies'][0], '|', d['identityKind']");
    const std::string expectedFingerprint =
        valmora::signer::normalizeFingerprint(line(openssl({"x509", "-in", kabum, "-noout", "-fingerprint", "-sha1"})).substr(17));
    EXPECT_EQ("KABUM COMERCIO ELETRONICO S A:05570714000825 | AC Certisign RFB G5 | " + expectedFingerprint +
                  " | 07 f7 0a dd 63 45 0a b5 1e cc 53 0d ee a3 90 bb | 10/04/2020 | fiscal@kabum.com.br | "
                  "Digital Signature,Non-Repudiation,Key Encipherment,TLS Web Client Authentication,E-mail Protection | "
                  "Pol\xc3\xadtica de Certificado de Assinatura Digital Tipo A1 da Autoridade Certificadora CertiSign "
                  "para a Secretaria da Receita Federal | company",
              line(summary));

    const std::string identities = pythonOnLines(
        result.out, "d['file'].split('/')[-1], json.dumps(d['identity'], sort_keys=True)");
    EXPECT_NE(std::string::npos,
              identities.find("ecnpj-a1-kabum-certisign-rfb-g5-2019.pem {\"birthDate\": \"07121984\", \"cei\": "
                              "\"000000000000\", \"cnpj\": \"05570714000825\", \"cpf\": \"32754282840\", \"pis\": "
                              "\"00000000000\", \"responsibleName\": \"LEANDRO CAMARGO RAMOS\", \"rg\": "
                              "\"000000041004028\", \"rgIssuer\": \"\"}"))
        << identities;
    EXPECT_NE(std::string::npos, identities.find("\"voterZone\": \"000\"")) << identities;
}

TEST(OrvaneCtlCertShow, DerBase64AndBrokenFilesAreEachHandled)
{
    TempDir dir;
    const std::string pem = icpBrasil("end-entity/test-ecpf-lacuna-alan-mathison-turing-2016.pem");
    const std::string der = dir.file("turing.der");
    openssl({"x509", "-in", pem, "-outform", "DER", "-out", der});
    const std::string wrapped = dir.file("turing.b64");
    openssl({"base64", "-in", der, "-out", wrapped});  // 64 characters a line
    const std::string empty = dir.file("empty");
    std::ofstream(empty).close();
    const std::string garbage = dir.file("garbage.pem");
    std::ofstream(garbage) << "-----BEGIN CERTIFICATE-----\nnot really\n-----END CERTIFICATE-----\n";
    const std::string truncated = dir.file("truncated.der");
    const std::string bytes = readFileBytes(der);
    std::ofstream(truncated, std::ios::binary) << bytes.substr(0, bytes.size() / 2);

    const ProcessResult result =
        orvanectl({"cert", "show", empty, der, garbage, wrapped, truncated, dir.file("missing"), pem});
    EXPECT_EQ(1, result.exitCode);
    // The three good ones are shown, in order, and they are the same certificate.
    const std::string subjects = pythonOnLines(result.out, "d['file'].split('/')[-1], d['subject'], d['fingerprint']");
    const std::string fingerprint =
        valmora::signer::normalizeFingerprint(line(openssl({"x509", "-in", pem, "-noout", "-fingerprint", "-sha1"})).substr(17));
    EXPECT_EQ("turing.der Alan Mathison Turing " + fingerprint + "\nturing.b64 Alan Mathison Turing " + fingerprint +
                  "\ntest-ecpf-lacuna-alan-mathison-turing-2016.pem Alan Mathison Turing " + fingerprint + "\n",
              subjects);
    // Each bad one has its line on standard error.
    EXPECT_NE(std::string::npos, result.err.find(empty + ": not a certificate")) << result.err;
    EXPECT_NE(std::string::npos, result.err.find(garbage + ": not a certificate")) << result.err;
    EXPECT_NE(std::string::npos, result.err.find(truncated + ": not a certificate")) << result.err;
    EXPECT_NE(std::string::npos, result.err.find(dir.file("missing") + ": cannot read")) << result.err;
    // A file that is there but holds no certificate fails the command too.
    EXPECT_EQ(1, orvanectl({"cert", "show", garbage, pem}).exitCode);
}

TEST(OrvaneCtlCertShow, BytesThatAreNotUtf8AreEscapedAndTheRestKept)
{
    TempDir dir;
    const Bytes der = CertificateBuilder()
                          .subject({{"CN", "Jos\xc3\xa9 da Concei\xc3\xa7\xc3\xa3o"}})
                          .otherName("2.16.76.1.3.2", "JOS\xc9 \"ASPAS\"\\")  // ISO-8859-1 byte
                          .otherName("2.16.76.1.3.3", std::string("123\x01", 4))
                          .der();
    const std::string file = dir.file("latin1.der");
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(der.data()),
                                                static_cast<std::streamsize>(der.size()));
    const ProcessResult result = orvanectl({"cert", "show", file});
    ASSERT_EQ(0, result.exitCode) << result.err;
    EXPECT_NE(std::string::npos, result.out.find("\"subject\":\"Jos\xc3\xa9 da Concei\xc3\xa7\xc3\xa3o\""));
    EXPECT_NE(std::string::npos, result.out.find("\"responsibleName\":\"JOS\\u00c9 \\\"ASPAS\\\"\\\\\""))
        << result.out;
    EXPECT_NE(std::string::npos, result.out.find("\"cnpj\":\"123\\u0001\""));
    // And it is valid JSON for a reader that knows nothing of us.
    EXPECT_EQ("JOS\xc3\x89 \"ASPAS\"\\\n", pythonOnLines(result.out, "d['identity']['responsibleName']"));
}

TEST(OrvaneCtlCommands, UsageAndUnknownCommands)
{
    const ProcessResult none = orvanectl({});
    EXPECT_EQ(2, none.exitCode);
    EXPECT_NE(std::string::npos, none.err.find("cert show FILE..."));
    const ProcessResult unknown = orvanectl({"cert", "burn"});
    EXPECT_EQ(2, unknown.exitCode);
    EXPECT_NE(std::string::npos, unknown.err.find("unknown command: cert burn"));
    const ProcessResult noFile = orvanectl({"cert", "show"});
    EXPECT_EQ(2, noFile.exitCode);
    const ProcessResult help = orvanectl({"--help"});
    EXPECT_EQ(0, help.exitCode);
    EXPECT_NE(std::string::npos, help.out.find("usage: orvanectl"));
}

TEST(OrvaneCtlJson, StringEscapingKeepsValidUtf8Only)
{
    using orvane::ctl::jsonString;
    EXPECT_EQ("\"a\\u000a\\\"\\\\\"", jsonString("a\n\"\\"));
    EXPECT_EQ("\"\xe2\x82\xac \xf0\x9f\x98\x80\"", jsonString("\xe2\x82\xac \xf0\x9f\x98\x80"));
    EXPECT_EQ("\"\\u00c3\"", jsonString("\xc3"));                      // cut short
    EXPECT_EQ("\"\\u00c0\\u0080\"", jsonString("\xc0\x80"));            // overlong
    EXPECT_EQ("\"\\u00ed\\u00a0\\u0080\"", jsonString("\xed\xa0\x80")); // surrogate
    EXPECT_EQ("\"\\u00f4\\u0090\\u0080\\u0080\"", jsonString("\xf4\x90\x80\x80"));  // above U+10FFFF
    EXPECT_EQ("\"\\u007f\"", jsonString("\x7f"));
}

} // namespace
