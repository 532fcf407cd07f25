#pragma once

// One sandbox for a whole test program, started before its first case with
// the agent's configuration (applicationConfig-2.properties) pointing at it,
// so that every address the agent caches is the sandbox's; and what the
// suites do with it to get an enrolled computer.

#include "model/identity/Orvane.h"
#include "tests/mock/SandboxServices.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace orvane::test {

class SandboxEnvironment : public testing::Environment {
public:
    // `pkiCache`: see SandboxServices.
    explicit SandboxEnvironment(std::string pkiCache);
    void SetUp() override;
    void TearDown() override;

    // The sandbox of this test program; throws while none runs.
    static SandboxServices& sandbox();

private:
    std::string pkiCache_;
    std::unique_ptr<SandboxServices> services_;
};

// Facts of a test computer.
model::DesktopInfo testDesktop(const std::wstring& name = L"bancada-01");

// Enrols a fresh computer (a new key pair in the token) and returns the
// saved identity; throws std::runtime_error when the sandbox refuses.
std::unique_ptr<model::Orvane> enrolComputer();

// Pairs the phone with the identity's installation at the sandbox, as an
// approved authorisation would.
void pairPhone(const model::Orvane& identity, const std::string& deviceCode);

} // namespace orvane::test
