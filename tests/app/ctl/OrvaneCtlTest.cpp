// orvanectl run as a process; what it prints is read back by Python's json
// module. What the certificates hold is the signer suite's business: here
// the command's own part, its JSON, escaping, exit statuses and bad files.

#include "app/ctl/JsonOutput.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

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

TEST(OrvaneCtlCertShow, EachCertificateIsAJsonLineAndEachBadFileALineOnStandardError)
{
    TempDir dir;
    const std::string pem = icpBrasil("end-entity/test-ecpf-lacuna-alan-mathison-turing-2016.pem");
    const std::string der = dir.file("turing.der");
    openssl({"x509", "-in", pem, "-outform", "DER", "-out", der});
    const std::string wrapped = dir.file("turing.b64");
    openssl({"base64", "-in", der, "-out", wrapped});  // 64 characters a line
    const Certificate generated = CertificateBuilder()
                                      .subject({{"CN", "Jos\xc3\xa9 da Concei\xc3\xa7\xc3\xa3o"}})
                                      .otherName("2.16.76.1.3.2", "JOS\xc9 \"ASPAS\"\\")  // ISO-8859-1 byte
                                      .otherName("2.16.76.1.3.3", std::string("123\x01", 4))
                                      .build();
    const std::string latin1 = dir.file("latin1.der");
    writeFile(latin1, asText(generated.toDer()));
    const std::string empty = dir.file("empty"), garbage = dir.file("garbage.pem"), missing = dir.file("missing");
    writeFile(empty, "");
    writeFile(garbage, "-----BEGIN CERTIFICATE-----\nnot really\n-----END CERTIFICATE-----\n");
    const std::string truncated = dir.file("truncated.der");
    writeFile(truncated, readFile(der).substr(0, readFile(der).size() / 2));

    const ProcessResult result = orvanectl({"cert", "show", empty, der, garbage, wrapped, truncated, missing, pem, latin1});
    EXPECT_EQ(1, result.exitCode);
    const std::string fingerprint = valmora::signer::normalizeFingerprint(
        openssl({"x509", "-in", pem, "-noout", "-fingerprint", "-sha1"}).substr(17, 59));
    const std::string members = " email,file,fingerprint,identity,identityKind,issuer,keyUsages,notAfter,policies,"
                                "serial,subject";
    const std::string turing = " Alan Mathison Turing " + fingerprint + " person 56072386105 None" + members + "\n";
    EXPECT_EQ("turing.der" + turing + "turing.b64" + turing + "test-ecpf-lacuna-alan-mathison-turing-2016.pem" + turing
                  + "latin1.der Jos\xc3\xa9 da Concei\xc3\xa7\xc3\xa3o " + generated.fingerprint()
                  + " company  JOS\xc3\x89 \"ASPAS\"\\" + members + "\n",
              pythonOnLines(result.out, "d['file'].split('/')[-1], d['subject'], d['fingerprint'], d['identityKind'], "
                                        "d['identity'].get('cpf'), d['identity'].get('responsibleName'), "
                                        "','.join(sorted(d))"));
    // Bytes that are no UTF-8 are escaped one by one, the rest kept.
    EXPECT_NE(std::string::npos, result.out.find("\"responsibleName\":\"JOS\\u00c9 \\\"ASPAS\\\"\\\\\"")) << result.out;
    EXPECT_NE(std::string::npos, result.out.find("\"cnpj\":\"123\\u0001\""));
    for (const std::string& bad : {empty, garbage, truncated})
        EXPECT_NE(std::string::npos, result.err.find(bad + ": not a certificate")) << result.err;
    EXPECT_NE(std::string::npos, result.err.find(missing + ": cannot read")) << result.err;
    // A file that is there but holds no certificate fails the command too.
    EXPECT_EQ(1, orvanectl({"cert", "show", garbage, pem}).exitCode);
}

TEST(OrvaneCtlCommands, UsageAndUnknownCommands)
{
    const ProcessResult none = orvanectl({});
    EXPECT_EQ(2, none.exitCode);
    EXPECT_NE(std::string::npos, none.err.find("cert show FILE..."));
    const ProcessResult unknown = orvanectl({"cert", "burn"});
    EXPECT_EQ(2, unknown.exitCode);
    EXPECT_NE(std::string::npos, unknown.err.find("unknown command: cert burn"));
    EXPECT_EQ(2, orvanectl({"cert", "show"}).exitCode);
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
