// The hierarchy forms over the sandbox's own catalogue.

#include "ui/models/HierarchyItemModel.h"
#include "ui/models/HierarchyListModel.h"

#include "model/catalogue/Hierarchy.h"
#include "tests/mock/ProtocolSupport.h"
#include "tests/uimodels/ModelTestSupport.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

using orvane::model::Hierarchy;
using orvane::test::sandbox;

namespace {

class HierarchyModels : public orvane::test::ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        list.setPtrOrvane(identity.get());
    }
    HierarchyItemModel* item(const QString& code)
    {
        for (int row = 0; row < list.rowCount(); ++row)
            if (list.at(static_cast<uint>(row))->code() == code)
                return list.at(static_cast<uint>(row));
        return nullptr;
    }

    std::unique_ptr<orvane::model::Orvane> identity;
    HierarchyListModel list{nullptr};
};

} // namespace

TEST_F(HierarchyModels, ListFillsOnFirstLookWithRolesAndWidths)
{
    HierarchyListModel empty(nullptr);
    EXPECT_EQ(empty.at(0), nullptr);  // no aggregate yet: no rows, no crash

    ASSERT_EQ(list.rowCount(), 5);
    EXPECT_EQ(list.roleNames().value(257), QByteArray("displayName"));
    EXPECT_EQ(list.roleNames().value(258), QByteArray("code"));
    EXPECT_EQ(list.data(list.index(1), 257).toString(), QStringLiteral("Pessoa Jurídica (CNPJ)"));
    EXPECT_EQ(list.headerData(0, Qt::Horizontal).toString(), QStringLiteral("Hierarquias"));
    EXPECT_EQ(list.at(5), nullptr);

    struct Widths {
        const char* code;
        int first, second, third;
        bool showSecond;
    } widths[] = {
        {"CPF", 252, 0, 0, false},        // "999.999.999-99": 14 characters
        {"EMAIL", 360, 0, 0, false},      // free length
        {"CNPJ_CPF", 324, 252, 0, true},  // 18 and 14 characters
        {"OAB", 100, 108, 0, true},       // "aa" keeps the minimum
    };
    for (const Widths& w : widths) {
        SCOPED_TRACE(w.code);
        const HierarchyItemModel* form = item(QString::fromLatin1(w.code));
        ASSERT_NE(form, nullptr);
        EXPECT_EQ(form->identityCode1Length(), w.first);
        EXPECT_EQ(form->identityCode2Length(), w.second);
        EXPECT_EQ(form->identityCode3Length(), w.third);
        EXPECT_EQ(form->displayIdentityCode2(), w.showSecond);
        EXPECT_FALSE(form->displayIdentityCode3());
    }
}

TEST_F(HierarchyModels, EachKeystrokeRerunsMasksAndValidity)
{
    HierarchyItemModel* cpf = item(QStringLiteral("CPF"));
    ASSERT_NE(cpf, nullptr);
    QSignalSpy masked(cpf, &HierarchyItemModel::resultMaskChanged);
    const QString typed = QStringLiteral("390.533.447-05");
    std::vector<bool> valid;
    for (int n = 1; n <= typed.size(); ++n) {
        cpf->setIdentityCode1(typed.left(n));
        valid.push_back(cpf->property("validIdentity").toBool());
    }
    EXPECT_EQ(masked.count(), typed.size());  // one announcement per keystroke
    EXPECT_EQ(std::count(valid.begin(), valid.end(), true), 1);
    EXPECT_TRUE(valid.back());
    EXPECT_TRUE(cpf->maskSuccess());
    EXPECT_EQ(cpf->resultMask(), typed);
    EXPECT_EQ(cpf->identity().identity, L"39053344705");
    EXPECT_EQ(cpf->identity().hierarchyCode, L"CPF");

    cpf->setIdentityCode1(typed);  // no change, no announcement
    EXPECT_EQ(masked.count(), typed.size());
    cpf->setIdentityCode1(QStringLiteral("39x"));
    EXPECT_FALSE(cpf->maskSuccess());
    EXPECT_FALSE(cpf->isValidIdentity());

    // Two fields are joined by "&", as the service looks them up.
    HierarchyItemModel* oab = item(QStringLiteral("OAB"));
    oab->setIdentityCode1(QStringLiteral("pr"));
    oab->setIdentityCode2(QStringLiteral("48213"));
    EXPECT_TRUE(oab->isValidIdentity());
    EXPECT_EQ(oab->identity().identity.substr(2), L"&48213");
    HierarchyItemModel* both = item(QStringLiteral("CNPJ_CPF"));
    both->setIdentityCode1(QStringLiteral("28341957000110"));
    EXPECT_FALSE(both->isValidIdentity());
    both->setIdentityCode2(QStringLiteral("80315792612"));
    EXPECT_TRUE(both->isValidIdentity());
    EXPECT_EQ(both->identity().identity, L"28341957000110&80315792612");

    // Resetting the list empties every form and tells the views.
    QSignalSpy changed(&list, &HierarchyListModel::dataChanged);
    list.resetThisModel();
    EXPECT_EQ(changed.count(), 1);
    for (HierarchyItemModel* form : {cpf, oab, both}) {
        EXPECT_TRUE(form->identityCode1().isEmpty() && form->identityCode2().isEmpty());
        EXPECT_FALSE(form->isValidIdentity());
        EXPECT_EQ(form->identity().identity, L"");
    }
}

TEST(HierarchyItemModel, AnEmptyMiddlePartLeavesOneSeparator)
{
    Hierarchy three;
    three.code = L"T";
    for (int k = 0; k < 3; ++k)
        three.fields.push_back({L"?", L".*"});
    HierarchyItemModel form(&three);
    EXPECT_TRUE(form.displayIdentityCode3());
    form.setIdentityCode1(QStringLiteral("a"));
    form.setIdentityCode3(QStringLiteral("c"));
    EXPECT_EQ(form.identity().identity, L"a&c");
}
