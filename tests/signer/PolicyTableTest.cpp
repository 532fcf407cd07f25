// The compiled-in policy table: its order, the rows that must be there, the
// lookup, and that the checked-in source is what the script makes of the
// published register.

#include "signer/PolicyTable.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"
#include "tests/signer/SignerTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using namespace valmora::signer;
using namespace orvane::test::signer;

namespace {

TEST(PolicyTable, IsSortedWithoutDuplicatesAndHoldsTheFixedRows)
{
    ASSERT_GT(policyTableSize, 175u);
    std::set<std::wstring> seen;
    for (std::size_t i = 0; i < policyTableSize; ++i) {
        EXPECT_TRUE(seen.insert(policyTable[i].oid).second) << i;
        if (i > 0) {
            EXPECT_TRUE(oidLess(policyTable[i - 1].oid, policyTable[i].oid)) << i;
            EXPECT_FALSE(oidLess(policyTable[i].oid, policyTable[i - 1].oid)) << i;
        }
        const std::wstring oid = policyTable[i].oid;
        EXPECT_TRUE(oid.rfind(L"2.16.76.1.1", 0) == 0 || oid.rfind(L"2.16.76.1.2", 0) == 0) << i;
        // People read these: no compiler's notes, no sources.
        const std::wstring description = policyTable[i].description;
        for (const wchar_t* note : {L"[derivado]", L"declarada no certificado", L"\u2014", L"http", L"registro de"})
            EXPECT_EQ(std::wstring::npos, description.find(note)) << i;
    }
    // Rows derived from authority certificates read like the register's.
    EXPECT_EQ(L"DPC da AC VALID", policyDescription("2.16.76.1.1.43"));
    EXPECT_EQ(L"PC A1 da AC Instituto Fenacon", policyDescription("2.16.76.1.2.1.33"));
    EXPECT_EQ(L"PC de Carimbo de Tempo T3 da AC Certisign Tempo", policyDescription("2.16.76.1.2.303.6"));
    EXPECT_EQ(L"PC da Autoridade Certificadora ZAPSIGN", policyDescription("2.16.76.1.2.201.11"));
    EXPECT_EQ(L"PC de Carimbo de Tempo T3", policyDescription("2.16.76.1.2.303.2"));
    EXPECT_EQ(std::wstring(L"2.16.76.1.1"), policyTable[0].oid);
    EXPECT_EQ(std::wstring(L"DPC"), policyTable[0].description);
    EXPECT_EQ(std::wstring(L"2.16.76.1.1.0"), policyTable[1].oid);
    EXPECT_EQ(std::wstring(L"DPC da AC Raiz"), policyTable[1].description);
    EXPECT_EQ(L"PC de Carimbo de Tempo T4", policyDescription("2.16.76.1.2.304.7"));
}

TEST(PolicyTable, LookupFindsExactRowsOnly)
{
    EXPECT_EQ(L"DPC", policyDescription("2.16.76.1.1"));
    EXPECT_EQ(L"Pol\u00edtica de Certificado de Assinatura Digital do Tipo A1 da Autoridade Certificadora CertiSign "
              L"M\u00faltipla na Infra-estrutura de Chaves P\u00fablicas Brasileira",
              policyDescription("2.16.76.1.2.1.11"));
    EXPECT_EQ(L"(2.16.76.1.2.1.0)", policyDescription("2.16.76.1.2.1.0"));
    EXPECT_EQ(L"(2.16.76.1.2.1.11.1)", policyDescription("2.16.76.1.2.1.11.1"));
    EXPECT_EQ(L"(2.16.76.1)", policyDescription("2.16.76.1"));
    EXPECT_EQ(L"(1.2.840.113549.1.1.1)", policyDescription("1.2.840.113549.1.1.1"));
    EXPECT_EQ(L"(X509v3 Any Policy)", policyDescription("X509v3 Any Policy"));
    EXPECT_EQ(L"()", policyDescription(""));
    EXPECT_EQ(L"(2.16.76.1.2.99999)", policyDescription("2.16.76.1.2.99999"));
    // Otherwise-named arcs of the register are not policies.
    EXPECT_EQ(L"(2.16.76.1.3.1)", policyDescription("2.16.76.1.3.1"));
}

TEST(PolicyTable, OidLessComparesArcsAsNumbers)
{
    EXPECT_TRUE(oidLess(L"2.16.76.1.2.2", L"2.16.76.1.2.10"));
    EXPECT_FALSE(oidLess(L"2.16.76.1.2.10", L"2.16.76.1.2.2"));
    EXPECT_TRUE(oidLess(L"2.16", L"2.16.1"));
    EXPECT_FALSE(oidLess(L"2.16.1", L"2.16"));
    EXPECT_FALSE(oidLess(L"2.16", L"2.16"));
    EXPECT_TRUE(oidLess(L"1.9", L"2"));
    // Arcs that are no 16-bit number make the answer true both ways.
    EXPECT_TRUE(oidLess(L"2.x", L"2.1"));
    EXPECT_TRUE(oidLess(L"2.1", L"2.x"));
    EXPECT_TRUE(oidLess(L"2.40000", L"2.1"));
    EXPECT_TRUE(oidLess(L"2.1", L"2.40000"));
    EXPECT_FALSE(oidLess(L"2.32767", L"2.1"));
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
