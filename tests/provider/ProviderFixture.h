#pragma once

// What the module's suites share: a computer enrolled at the sandbox with one
// of Ana's phones paired and her cloud account added, the certificates
// published into "MY", and the module of this build.

#include "tests/mock/ChildProcess.h"
#include "tests/mock/SandboxEnvironment.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orvane::test {

// One key as the programs address it.
struct ModuleKey {
    std::string slotIndex;  // phones first, then cloud accounts
    std::string id;         // CKA_ID in hexadecimal
    std::string pin;        // C_Login text; empty for a phone
};

class ProviderTest : public testing::Test {
public:
    static std::string modulePath() { return ORVANE_PKCS11_MODULE; }
    static SandboxServices& sandbox() { return SandboxEnvironment::sandbox(); }
    static inline std::unique_ptr<model::Orvane> identity;
    static inline ModuleKey phoneKey;
    static inline ModuleKey cloudKey;

    // Phones approve every signature request at its first poll.
    static void approvePhones();
    // Runs a program given by its full path; fails the case when it cannot
    // start.
    static ProcessResult run(const std::vector<std::string>& argv,
                             const std::map<std::string, std::string>& environment = {});
    // A file of the suite's temporary folder.
    static std::string file(const std::string& name);

protected:
    static void SetUpTestSuite();
    void SetUp() override;
};

} // namespace orvane::test
