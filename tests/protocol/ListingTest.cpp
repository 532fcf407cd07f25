// Certificate listings of both kinds of key group and the refresh of the
// identity that saves and publishes them, against the sandbox.

#include "tests/mock/ProtocolSupport.h"

#include "model/keys/Device.h"
#include "model/kestrel/KestrelListing.h"
#include "config/ApplicationPaths.h"
#include "config/TextCodec.h"
#include "signer/CertificateStore.h"
#include "signer/SystemRepository.h"

#include <filesystem>

using namespace orvane::model;
using namespace orvane::test;

namespace {

std::map<std::wstring, KeyId> keyIdsByName(KestrelInstallation& installation)
{
    std::map<std::wstring, KeyId> ids;
    for (KeyReference* reference : installation.devices.allKeyReferences())
        ids[reference->keyName] = reference->keyId;
    return ids;
}

class Listing : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        ana = sandbox().deviceCodesOf("ana");
        ASSERT_EQ(ana.size(), 2u);
    }
    KestrelInstallation& installation() { return identity->kestrelInstallations[0]; }
    Device& device(std::size_t i) { return *installation().devices.devices.at(i); }
    // Both of Ana's phones paired and listed.
    void listBoth()
    {
        pair(*identity, ana[0]);
        pair(*identity, ana[1]);
        const CertificateListResult first = listCertificates(installation());
        ASSERT_EQ(first.changed, CertificateListResult::NewList);
        EXPECT_EQ(first.message, "");
        EXPECT_EQ(first.status, 0);
    }

    std::unique_ptr<Orvane> identity;
    std::vector<std::string> ana;
};

} // namespace

TEST_F(Listing, PairedPhonesArriveThenNotModifiedThenRenamesAndIdsSurviveANewList)
{
    listBoth();
    ASSERT_EQ(installation().devices.devices.size(), 2u);
    EXPECT_EQ(toUtf8(device(0).hash), ana[0]);
    EXPECT_EQ(device(0).fantasyName, L"Galaxy S23 de Ana");
    EXPECT_EQ(device(0).localName, L"kestrel no Galaxy S23 de Ana");
    ASSERT_EQ(device(0).keyReferences.size(), 1u);
    const KeyReference& key = device(0).keyReferences[0];
    EXPECT_EQ(key.friendlyName.rfind(L"ANA BEATRIZ SOUZA LIMA", 0), 0u);
    EXPECT_TRUE(key.hasKeyId());
    EXPECT_EQ(key.owner, identity.get());
    EXPECT_FALSE(installation().devices.lastModified.empty());

    const std::string before = identity->documentText();
    EXPECT_EQ(listCertificates(installation()).changed, CertificateListResult::NotModified);
    EXPECT_EQ(identity->documentText(), before);

    // Any name taken is refused, its own included; through the identity a
    // new name is saved at once, a refused one leaves the file alone.
    bool changed = false;
    EXPECT_FALSE(renameKestrelDevice(installation(), device(0), L"kestrel no iPhone 13 de Ana", changed));
    EXPECT_FALSE(renameKestrelDevice(installation(), device(0), L"kestrel no Galaxy S23 de Ana", changed));
    EXPECT_FALSE(changed);
    identity->save();
    EXPECT_TRUE(identity->renameDevice(&device(0), L"Celular do trabalho"));
    bool dirty = false;
    EXPECT_EQ(Orvane::read(dirty, {})->kestrelInstallations[0].devices.devices[0]->localName, L"Celular do trabalho");
    const std::string saved = orvane::test::readFile(identityFilePath());
    EXPECT_FALSE(identity->renameDevice(&device(1), L"Celular do trabalho"));
    EXPECT_EQ(orvane::test::readFile(identityFilePath()), saved);
    const auto ids = keyIdsByName(installation());
    // A new key on the second phone moves the service's mark.
    Json::Value newKey(Json::objectValue);
    newKey["deviceCode"] = ana[1];
    sandbox().post("/certificates", newKey);
    ASSERT_EQ(listCertificates(installation()).changed, CertificateListResult::NewList);
    EXPECT_EQ(device(0).localName, L"Celular do trabalho");
    ASSERT_EQ(device(1).keyReferences.size(), 2u);
    const auto after = keyIdsByName(installation());
    for (const auto& [name, id] : ids)
        EXPECT_EQ(after.at(name), id);
    const KeyReference& added = device(1).keyReferences[1];
    EXPECT_TRUE(added.hasKeyId());
    EXPECT_EQ(ids.count(added.keyName), 0u);
}

TEST_F(Listing, EqualNamesAreNumberedAndKeptPerCodeAndRemovedPhonesGo)
{
    const Json::Value first = addPhone("mariana", "Celular Reserva");
    const Json::Value second = addPhone("mariana", "Celular Reserva");
    pair(*identity, first["deviceCode"].asString());
    pair(*identity, second["deviceCode"].asString());
    for (int listing = 0; listing < 2; ++listing) {
        installation().devices.lastModified.clear();
        ASSERT_EQ(listCertificates(installation()).changed, CertificateListResult::NewList);
        ASSERT_EQ(installation().devices.devices.size(), 2u);
        EXPECT_EQ(device(0).localName, L"kestrel no Celular Reserva");
        EXPECT_EQ(device(1).localName, L"kestrel no Celular Reserva - 2");
    }

    sandbox().remove("/devices/" + first["deviceCode"].asString());
    ASSERT_EQ(listCertificates(installation()).changed, CertificateListResult::NewList);
    ASSERT_EQ(installation().devices.devices.size(), 1u);
    EXPECT_EQ(toUtf8(device(0).hash), second["deviceCode"].asString());
    EXPECT_EQ(device(0).localName, L"kestrel no Celular Reserva - 2");
}

TEST_F(Listing, FailuresKeepListAndMark)
{
    pair(*identity, ana[0]);
    ASSERT_EQ(listCertificates(installation()).changed, CertificateListResult::NewList);
    installation().devices.lastModified.clear();
    const std::string before = identity->documentText();

    for (const auto& [planned, message] : std::vector<std::pair<Json::Value, std::string>>{
             {fault("/listCertificates/", 500), "Certificados nao obtidos. Erro HTTP 500"},
             {drop("/listCertificates/"), "Certificados nao obtidos. Erro HTTP 0"}}) {
        sandbox().addFault(planned);
        const CertificateListResult failed = listCertificates(installation());
        EXPECT_EQ(failed.changed, CertificateListResult::Failed);
        EXPECT_EQ(failed.message, message);
        EXPECT_EQ(failed.status, 1);
    }
    EXPECT_EQ(identity->documentText(), before);

    // A good list followed by a catalogue failure: the list is in place,
    // the result still reports the failure.
    installation().hierarchies.expires = 0;
    installation().hierarchies.lastModified.clear();
    sandbox().addFault(fault("/listHierarchies", 500));
    const CertificateListResult halfway = listCertificates(installation());
    EXPECT_EQ(halfway.changed, CertificateListResult::Failed);
    EXPECT_EQ(halfway.message, "");
    EXPECT_EQ(halfway.status, 1);
    EXPECT_FALSE(installation().devices.lastModified.empty());
    EXPECT_EQ(installation().devices.devices.size(), 1u);

    // An answer that is no list empties it.
    sandbox().addFault(fault("/listCertificates/", 200, Json::Value(Json::objectValue)));
    installation().hierarchies.expires = FakeClock().nowSeconds() + 600;
    EXPECT_EQ(listCertificates(installation()).changed, CertificateListResult::NewList);
    EXPECT_TRUE(installation().devices.devices.empty());
}

TEST_F(Listing, RefreshSavesAndPublishesOnlyWhenSomethingChanged)
{
    pair(*identity, ana[0]);
    pair(*identity, ana[1]);
    const OperationResult refreshed = identity->refreshCertificates();
    EXPECT_TRUE(refreshed.succeeded()) << refreshed.message;

    bool dirty = false;
    ASSERT_EQ(Orvane::read(dirty, {})->kestrelInstallations[0].devices.devices.size(), 2u);
    const auto linksOf = [](Orvane& aggregate) {
        std::map<std::string, std::wstring> links;
        for (KeyReference* reference : aggregate.certificates())
            links[reference->certificate->fingerprint()] = reference->keyName;
        return links;
    };
    const auto expected = linksOf(*identity);
    EXPECT_GE(expected.size(), 2u);
    EXPECT_EQ(publishedEntries(), expected);

    // Nothing new at the service: no write and no store work, which shows as
    // a missing file and a missing entry that stay missing.
    std::filesystem::remove(identityFilePath());
    valmora::signer::SystemRepository::processWide().certificateStore()->remove("MY", expected.begin()->first);
    EXPECT_TRUE(identity->refreshCertificates().succeeded());
    EXPECT_FALSE(identityFileExists());
    EXPECT_EQ(publishedEntries().size(), expected.size() - 1);

    // A phone unpaired at the service: the next refresh saves and removes
    // its entry.
    EXPECT_EQ(identity->unregisterKeyGroup(identity->kestrelInstallation().devices.devices[0].get()), 0);
    EXPECT_EQ(identity->kestrelInstallation().devices.devices.size(), 1u);
    EXPECT_FALSE(identityFileExists());
    EXPECT_TRUE(identity->refreshCertificates().succeeded());
    EXPECT_TRUE(identityFileExists());
    EXPECT_EQ(publishedEntries(), linksOf(*identity));
    EXPECT_LT(publishedEntries().size(), expected.size());

    // A failed listing returns its message and saves nothing.
    std::filesystem::remove(identityFilePath());
    identity->kestrelInstallation().devices.lastModified.clear();
    sandbox().addFault(fault("/listCertificates/", 503));
    const OperationResult failed = identity->refreshCertificates();
    EXPECT_EQ(failed.message, "Certificados nao obtidos. Erro HTTP 503");
    EXPECT_EQ(failed.status, 1);
    EXPECT_FALSE(identityFileExists());
}
