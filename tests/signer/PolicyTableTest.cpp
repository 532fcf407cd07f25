// The compiled-in policy table: its order, the rows that must be there, the
// lookup, and that the checked-in source is what the script makes of the
// published register.

#include "signer/PolicyTable.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <cwchar>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

TEST(PolicyTable, IsSortedWithoutDuplicatesAndHoldsTheFixedRows)
{
    ASSERT_GT(policyTableSize, 175u);
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
    // Rows derived from authority certificates read like the register's;
    // lookups find exact rows only.
    const std::vector<std::pair<std::string, std::wstring>> lookups = {
        {"2.16.76.1.1", L"DPC"},
        {"2.16.76.1.1.0", L"DPC da AC Raiz"},
        {"2.16.76.1.2.1.33", L"PC A1 da AC Instituto Fenacon"},
        {"2.16.76.1.2.303.6", L"PC de Carimbo de Tempo T3 da AC Certisign Tempo"},
        {"2.16.76.1.2.1.11", L"Pol\u00edtica de Certificado de Assinatura Digital do Tipo A1 da Autoridade "
                             L"Certificadora CertiSign M\u00faltipla na Infra-estrutura de Chaves P\u00fablicas "
                             L"Brasileira"},
        {"2.16.76.1.2.1.0", L"(2.16.76.1.2.1.0)"},
        {"2.16.76.1.2.1.11.1", L"(2.16.76.1.2.1.11.1)"},
        {"2.16.76.1", L"(2.16.76.1)"},
        {"", L"()"},
        {"2.16.76.1.3.1", L"(2.16.76.1.3.1)"},  // otherwise-named arcs of the register are not policies
    };
    for (const auto& [oid, description] : lookups)
        EXPECT_EQ(description, policyDescription(oid)) << oid;
}

TEST(PolicyTable, OidLessComparesArcsAsNumbers)
{
    struct Case {
        const wchar_t* a;
        const wchar_t* b;
        bool less;
    };
    for (const Case& c : std::vector<Case>{{L"2.16.76.1.2.2", L"2.16.76.1.2.10", true},
                                          {L"2.16.76.1.2.10", L"2.16.76.1.2.2", false},
                                          {L"2.16", L"2.16.1", true},
                                          {L"2.16.1", L"2.16", false},
                                          {L"2.16", L"2.16", false},
                                          {L"1.9", L"2", true},
                                          // Arcs that are no 16-bit number make the answer true both ways.
                                          {L"2.x", L"2.1", true},
                                          {L"2.1", L"2.x", true},
                                          {L"2.40000", L"2.1", true},
                                          {L"2.32767", L"2.1", false}})
        EXPECT_EQ(c.less, oidLess(c.a, c.b)) << std::string(c.a, c.a + wcslen(c.a)) << " < " << std::string(c.b, c.b + wcslen(c.b));
}

TEST(PolicyTable, CheckedInSourceIsWhatTheScriptMakesOfTheRegister)
{
    orvane::test::TempDir dir;
    const std::string output = dir.file("PolicyTableData.cpp");
    const orvane::test::ProcessResult result =
        orvane::test::runProcess({ORVANE_SYSTEM_PYTHON, std::string(ORVANE_SOURCE_DIR) + "/signer/tools/make_policy_table.py",
                                  icpBrasil("policy-oids/icp-brasil-oids.tsv"), output});
    ASSERT_EQ(0, result.exitCode) << result.err;
    EXPECT_EQ(readFileBytes(std::string(ORVANE_SOURCE_DIR) + "/signer/PolicyTableData.cpp"),
              readFileBytes(output));
}

} // namespace
