#pragma once

// The openssl command-line tool, the judge from outside of what the agent
// writes and signs.

#include <string>
#include <vector>

namespace orvane::test {

inline std::string asText(const std::vector<unsigned char>& bytes) { return std::string(bytes.begin(), bytes.end()); }

// Runs /usr/bin/openssl with these arguments and returns its exit code,
// handing both outputs to the caller.
int opensslStatus(const std::vector<std::string>& arguments, std::string* out = nullptr, std::string* err = nullptr,
                  const std::string& input = {});
// Same, but fails the test on a non-zero exit and returns standard output.
std::string openssl(const std::vector<std::string>& arguments, const std::string& input = {});

// Whether `signature` is the PKCS#1 v1.5 signature of `data` under the
// `hash` digest ("sha256", "sha1"...) by the key of `pem`, a certificate or
// a public key.
bool opensslVerifies(const std::string& pem, const std::string& data, const std::string& signature,
                     const std::string& hash = "sha256");

} // namespace orvane::test
