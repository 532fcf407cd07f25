#include "tests/mock/OpenSslTool.h"

#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

namespace orvane::test {

int opensslStatus(const std::vector<std::string>& arguments, std::string* out, std::string* err,
                  const std::string& input)
{
    std::vector<std::string> argv{"/usr/bin/openssl"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    const ProcessResult result = runProcess(argv, input);
    if (out)
        *out = result.out;
    if (err)
        *err = result.err;
    return result.exitCode;
}

std::string openssl(const std::vector<std::string>& arguments, const std::string& input)
{
    std::string out, err;
    const int status = opensslStatus(arguments, &out, &err, input);
    std::string command = "openssl";
    for (const auto& a : arguments)
        command += " " + a;
    EXPECT_EQ(0, status) << command << "\n" << err;
    return out;
}

bool opensslVerifies(const std::string& pem, const std::string& data, const std::string& signature,
                     const std::string& hash)
{
    TempDir dir;
    const bool certificate = pem.find("-----BEGIN CERTIFICATE-----") != std::string::npos;
    writeFile(dir.file("key.pem"), certificate ? openssl({"x509", "-pubkey", "-noout"}, pem) : pem);
    writeFile(dir.file("data"), data);
    writeFile(dir.file("signature"), signature);
    std::string out;
    return opensslStatus({"dgst", "-" + hash, "-verify", dir.file("key.pem"), "-signature", dir.file("signature"),
                          dir.file("data")},
                         &out)
               == 0
           && out.find("Verified OK") != std::string::npos;
}

} // namespace orvane::test
