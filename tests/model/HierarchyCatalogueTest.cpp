// The hierarchy catalogue: input masks, validators (hostile ones included),
// and the catalogue as the service sends it and as the identity file holds it.

#include "model/catalogue/HierarchyCatalogue.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <regex>
#include <sstream>

using orvane::model::Field;
using orvane::model::FutureVersion;
using orvane::model::Hierarchy;
using orvane::model::HierarchyCatalogue;
using orvane::model::MaskResult;

namespace {

const std::wstring kNotNumeric = L"Caracter não-numérico digitado incorretamente na posição";
const std::wstring kTooLong = L"Caracteres digitados acima do permitido";

Field field(const std::wstring& mask, const std::wstring& regex = L"")
{
    Field f;
    f.mask = mask;
    f.regexValidator = regex;
    return f;
}

Json::Value parseJson(const std::string& text)
{
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

} // namespace

TEST(FieldMask, CpfMaskFormatsAbsorbsAndReportsPartialInput)
{
    const Field cpf = field(L"999.999.999-99");
    struct Case { std::wstring input; std::wstring text; std::wstring stripped; bool accepted; };
    const Case cases[] = {
        {L"12345678901", L"123.456.789-01", L"12345678901", true},
        {L"123.456.789-01", L"123.456.789-01", L"12345678901", true},  // typed literals absorbed
        {L"123", L"123", L"123", true},       // no literal behind the last character
        {L"1234", L"123.4", L"1234", true},
        {L"", L"", L"", true},
        {L"12A", kNotNumeric, L"12A", false},
        {L"12A45", kNotNumeric + L".45", L"12A45", false},  // the scan goes on after a mismatch
        {L"123456789012", kTooLong, L"123456789012", false},
    };
    for (const Case& c : cases) {
        const MaskResult r = cpf.applyMask(c.input);
        EXPECT_EQ(r.text, c.text) << std::string(c.input.begin(), c.input.end());
        EXPECT_EQ(r.stripped, c.stripped);
        EXPECT_EQ(r.accepted, c.accepted);
    }
}

TEST(FieldMask, OtherAlphabetCharacters)
{
    struct Case { const wchar_t* mask; const wchar_t* input; std::wstring text; bool accepted; };
    for (const Case& c : {Case{L"??????", L"qualquer coisa, sem limite 123", L"qualquer coisa, sem limite 123", true},
                          Case{L"aa", L"1b", L"Caracter numérico digitado incorretamente na posiçãob", false},
                          Case{L"**", L"a1", L"a1", true},
                          Case{L"**", L"a-", L"Caracter digitado incorretamente na posição", false},
                          Case{L"A99", L"12", L"A12", true},   // an upper-case "A" is a literal
                          Case{L"99/?", L"12abc", L"12/abc", true},   // "?" takes the rest unchecked
                          Case{L"", L"x", kTooLong, false},
                          Case{L"", L"", L"", true}}) {
        const MaskResult r = field(c.mask).applyMask(c.input);
        EXPECT_EQ(r.text, c.text) << c.mask;
        EXPECT_EQ(r.accepted, c.accepted) << c.mask;
    }
    EXPECT_EQ(field(L"A99").applyMask(L"12").stripped, L"12");
}

TEST(HierarchyMasks, JoinsPartsAndStopsAtTheFirstFailure)
{
    Hierarchy h;
    h.fields = {field(L"99.999"), field(L"aa")};
    const auto good = h.applyMasks({L"12345", L"xy"});
    EXPECT_TRUE(good.accepted);
    EXPECT_EQ(good.text, L"12.345-xy");
    EXPECT_EQ(good.parts, (std::vector<std::wstring>{L"12345", L"xy"}));

    const auto bad = h.applyMasks({L"12345", L"1x"});
    EXPECT_FALSE(bad.accepted);
    EXPECT_EQ(bad.text, L"Caracter numérico digitado incorretamente na posiçãox");
    EXPECT_TRUE(bad.parts.empty());

    Hierarchy one;
    one.fields = {field(L"999", L"[0-9]{3}")};
    EXPECT_EQ(one.applyMasks({L"123", L"ignored!"}).text, L"123");
    EXPECT_TRUE(one.matchesValidators({L"123", L"ignored!"}));
}

TEST(HierarchyValidators, WholeStringEcmaScriptOverWideText)
{
    Field cpf = field(L"", L"\\d{3}\\.?\\d{3}\\.?\\d{3}-?\\d{2}");
    EXPECT_TRUE(cpf.matches(L"123.456.789-01"));
    EXPECT_TRUE(cpf.matches(L"12345678901"));
    EXPECT_FALSE(cpf.matches(L"x12345678901"));   // the whole input must match
    EXPECT_FALSE(cpf.matches(L"123456789012"));
    EXPECT_TRUE(field(L"", L"[a-zçã]+").matches(L"posição"));
    EXPECT_FALSE(field(L"", L"").matches(L"a"));

    Hierarchy h;
    h.fields = {field(L"", L"\\d+"), field(L"", L"[A-Z]+")};
    EXPECT_FALSE(h.matchesValidators({L"12"}));            // fewer inputs than fields
    EXPECT_TRUE(h.matchesValidators({L"12", L"AB"}));
    EXPECT_FALSE(h.matchesValidators({L"12", L"ab"}));
    // Every field is tried, so a broken later expression is not hidden by an
    // earlier failure.
    h.fields.push_back(field(L"", L"(["));
    EXPECT_THROW(h.matchesValidators({L"x", L"AB", L"c"}), std::regex_error);
}

TEST(HierarchyValidators, HostileExpressionOrLongInputFailsWithoutHangingOrCrashing)
{
    // Exponential backtracking: the standard matcher ran for minutes on this.
    EXPECT_FALSE(field(L"", L"(a|a)*b").matches(std::wstring(40, L'a')));
    EXPECT_FALSE(field(L"", L"[^P\\s]++\\.[1v^@\\s]+").matches(L"ana.lima@exemplo.comnbr"));
    // A repetition per character: the standard matcher's recursion ran out of
    // stack long before this length.
    const Field digits = field(L"", L"(\\d|x)*");
    EXPECT_TRUE(digits.matches(std::wstring(256, L'7')));
    EXPECT_FALSE(digits.matches(std::wstring(257, L'7')));
    EXPECT_FALSE(digits.matches(std::wstring(200000, L'7')));
    // The limit does not hide an invalid expression; nor does the other
    // engine take syntax that ECMAScript has not (its parser loops forever on
    // this comment group).
    EXPECT_THROW(field(L"", L"(").matches(std::wstring(300, L'7')), std::regex_error);
    EXPECT_THROW(field(L"", L"a++(?#x)x").matches(L"a"), std::regex_error);
    // Numbers beyond what the standard library's reader holds.
    EXPECT_THROW(field(L"", L"(a)\\1999999999999999999999").matches(L"a"), std::regex_error);
    EXPECT_THROW(field(L"", L"a{1,99999999999999999999}").matches(L"a"), std::regex_error);
    EXPECT_TRUE(field(L"", L"[0-9]{11}|12345678901234567890").matches(L"12345678901234567890"));
}

TEST(HierarchyCatalogueJson, ReadsServiceReplyAndToleratesOddShapes)
{
    const auto catalogue = HierarchyCatalogue::fromJson(parseJson(R"({"hierarchies": [
        {"displayName": "Pessoa Física", "code": "CPF", "fields": [{"mask": "999", "regexValidator": "\\d{3}"}]},
        {"code": "CNPJ"}], "futureVersion": {"availableSince": "2024-01-02", "versionString": "3.0 beta"}})"));
    ASSERT_EQ(catalogue.hierarchies.size(), 2u);
    EXPECT_EQ(catalogue.hierarchies[0].displayName, L"Pessoa Física");
    EXPECT_EQ(catalogue.hierarchies[0].fields.at(0).regexValidator, L"\\d{3}");
    EXPECT_TRUE(catalogue.hierarchies[1].fields.empty());
    EXPECT_EQ(catalogue.futureVersion.versionString, L"3.0 beta");

    const auto odd = HierarchyCatalogue::fromJson(parseJson(R"({"hierarchies": {"a": 1}})"));
    EXPECT_TRUE(odd.hierarchies.empty());
    EXPECT_EQ(odd.futureVersion, FutureVersion{});
    // A reply, or a part read by member, that is no object fails as the JSON
    // library fails member access.
    EXPECT_THROW(HierarchyCatalogue::fromJson(parseJson(R"({"futureVersion": 7})")), Json::LogicError);
    EXPECT_THROW(HierarchyCatalogue::fromJson(parseJson("[1,2]")), Json::LogicError);
}

TEST(HierarchyCatalogueXml, WritesAndReadsBackWithFutureVersionAlwaysPresent)
{
    HierarchyCatalogue catalogue;
    catalogue.lastModified = L"Tue, 02 Jan 2024 10:00:00 GMT";
    catalogue.expires = 9007199254740993LL;  // beyond a double's exact range
    Hierarchy h;
    h.displayName = L"Documento <&> \"aspas\"";
    h.code = L"DOC";
    h.fields = {field(L"999", L"\\d{3}"), field(L"aa", L"")};
    catalogue.hierarchies = {h, Hierarchy{}};

    pugi::xml_document doc;
    catalogue.write(doc);
    std::ostringstream text;
    doc.save(text, "\t");
    pugi::xml_document again;
    ASSERT_TRUE(again.load_string(text.str().c_str()));
    EXPECT_TRUE(again.child("Hierarchies").child("FutureVersion"));  // empty record still written
    EXPECT_EQ(HierarchyCatalogue::read(again.child("Hierarchies")), catalogue);
}
