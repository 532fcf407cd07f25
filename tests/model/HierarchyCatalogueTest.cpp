#include "model/catalogue/HierarchyCatalogue.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <memory>
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
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
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
    const MaskResult any = field(L"??????").applyMask(L"qualquer coisa, sem limite 123");
    EXPECT_TRUE(any.accepted);
    EXPECT_EQ(any.text, L"qualquer coisa, sem limite 123");
    EXPECT_EQ(any.stripped, L"qualquer coisa, sem limite 123");

    const MaskResult letters = field(L"aa").applyMask(L"1b");
    EXPECT_FALSE(letters.accepted);
    EXPECT_EQ(letters.text, L"Caracter numérico digitado incorretamente na posiçãob");

    EXPECT_EQ(field(L"**").applyMask(L"a1").text, L"a1");
    EXPECT_EQ(field(L"**").applyMask(L"a-").text, L"Caracter digitado incorretamente na posição");

    // An upper-case "A" is a literal, supplied when missing.
    const MaskResult literal = field(L"A99").applyMask(L"12");
    EXPECT_TRUE(literal.accepted);
    EXPECT_EQ(literal.text, L"A12");
    EXPECT_EQ(literal.stripped, L"12");

    // "?" after fixed positions takes the rest unchecked.
    EXPECT_EQ(field(L"99/?").applyMask(L"12abc").text, L"12/abc");

    // An empty mask refuses any input but the empty one.
    EXPECT_EQ(field(L"").applyMask(L"x").text, kTooLong);
    EXPECT_TRUE(field(L"").applyMask(L"").accepted);
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
    const auto extra = one.applyMasks({L"123", L"ignored!"});
    EXPECT_TRUE(extra.accepted);
    EXPECT_EQ(extra.text, L"123");
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
    EXPECT_TRUE(field(L"", L"").matches(L""));
    EXPECT_FALSE(field(L"", L"").matches(L"a"));
    EXPECT_THROW(field(L"", L"([").matches(L"a"), std::regex_error);

    Hierarchy h;
    h.fields = {field(L"", L"\\d+"), field(L"", L"[A-Z]+")};
    EXPECT_FALSE(h.matchesValidators({L"12"}));            // fewer inputs than fields
    EXPECT_TRUE(h.matchesValidators({L"12", L"AB"}));
    EXPECT_FALSE(h.matchesValidators({L"x", L"AB"}));
    EXPECT_FALSE(h.matchesValidators({L"12", L"ab"}));
    // Every field is tried, so a broken later expression is not hidden by an
    // earlier failure.
    h.fields.push_back(field(L"", L"(["));
    EXPECT_THROW(h.matchesValidators({L"x", L"AB", L"c"}), std::regex_error);
    EXPECT_TRUE(Hierarchy{}.matchesValidators({}));
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
    const auto catalogue = HierarchyCatalogue::fromJson(parseJson(R"({
        "hierarchies": [
          {"displayName": "Pessoa Física", "code": "CPF",
           "fields": [{"mask": "999.999.999-99", "regexValidator": "\\d{11}"}]},
          {"displayName": "Empresa", "code": "CNPJ"}
        ],
        "futureVersion": {"availableSince": "2024-01-02", "versionString": "3.0 beta"}
    })"));
    ASSERT_EQ(catalogue.hierarchies.size(), 2u);
    EXPECT_EQ(catalogue.hierarchies[0].displayName, L"Pessoa Física");
    EXPECT_EQ(catalogue.hierarchies[0].fields.at(0).mask, L"999.999.999-99");
    EXPECT_EQ(catalogue.hierarchies[0].fields.at(0).regexValidator, L"\\d{11}");
    EXPECT_TRUE(catalogue.hierarchies[1].fields.empty());
    EXPECT_EQ(catalogue.futureVersion.versionString, L"3.0 beta");
    EXPECT_EQ(catalogue.expires, 0);
    EXPECT_TRUE(catalogue.lastModified.empty());

    const auto odd = HierarchyCatalogue::fromJson(parseJson(R"({"hierarchies": {"a": 1}})"));
    EXPECT_TRUE(odd.hierarchies.empty());
    EXPECT_EQ(odd.futureVersion, FutureVersion{});
    // A reply, or a part read by member, that is no object fails as the JSON
    // library fails member access.
    EXPECT_THROW(HierarchyCatalogue::fromJson(parseJson(R"({"futureVersion": 7})")), Json::LogicError);
    EXPECT_THROW(HierarchyCatalogue::fromJson(parseJson("[1,2]")), Json::LogicError);
    EXPECT_THROW(HierarchyCatalogue::fromJson(parseJson("\"text\"")), Json::LogicError);
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
    pugi::xml_node root = doc.append_child("Root");
    catalogue.write(root);
    EXPECT_TRUE(root.child("Hierarchies").child("FutureVersion"));  // empty record still written
    EXPECT_EQ(HierarchyCatalogue::read(root.child("Hierarchies")), catalogue);

    std::ostringstream text;
    doc.save(text, "\t");
    pugi::xml_document again;
    ASSERT_TRUE(again.load_string(text.str().c_str()));
    EXPECT_EQ(HierarchyCatalogue::read(again.child("Root").child("Hierarchies")), catalogue);
}

TEST(HierarchyCatalogueXml, MissingPiecesReadAsEmpty)
{
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string(
        "<Hierarchies LastModified=\"m\"><Hierarchy><Code>X</Code></Hierarchy></Hierarchies>"));
    const auto catalogue = HierarchyCatalogue::read(doc.child("Hierarchies"));
    EXPECT_EQ(catalogue.expires, 0);   // absent Expires: refreshed at the next load
    EXPECT_EQ(catalogue.lastModified, L"m");
    ASSERT_EQ(catalogue.hierarchies.size(), 1u);
    EXPECT_TRUE(catalogue.hierarchies[0].fields.empty());
    EXPECT_TRUE(catalogue.futureVersion.versionString.empty());

    pugi::xml_document bad;
    ASSERT_TRUE(bad.load_string("<Hierarchies Expires=\"soon\"/>"));
    EXPECT_EQ(HierarchyCatalogue::read(bad.child("Hierarchies")).expires, 0);
}
