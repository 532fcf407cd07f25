#include "tests/model/IdentityFixtures.h"

#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "config/ApplicationPaths.h"
#include "tests/mock/TempDir.h"

#include "signer/Encoding.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace orvane::test {

using model::Device;
using model::HarrierInstallation;
using model::KestrelInstallation;
using model::KeyReference;
using model::Orvane;
using model::Wallet;

const wchar_t* const kActiveKestrelUrl = L"https://kestrel.test/TolvaneServices/desktop";
const wchar_t* const kOtherKestrelUrl = L"https://old-kestrel.test/TolvaneServices/desktop";
const char* const kAdemir = "ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015";
const char* const kKabum = "ecnpj-a1-kabum-certisign-rfb-g5-2019";

void writeServiceConfiguration()
{
    const std::filesystem::path config = model::configFilePath();
    std::filesystem::create_directories(config.parent_path());
    writeFile(config.string(), "brantis.url = https://kestrel.test/\nharrier.url = harrier.test\n");
}

std::shared_ptr<valmora::signer::Certificate> testCertificate(const std::string& name)
{
    const std::string pem =
        readFile(std::string(ORVANE_SHARED_TESTDATA_DIR) + "/icp-brasil/end-entity/" + name + ".pem");
    return std::make_shared<valmora::signer::Certificate>(valmora::signer::Certificate::fromText(pem));
}

std::string testCertificateBase64(const std::string& name)
{
    return valmora::signer::base64Encode(testCertificate(name)->toDer());
}

namespace {

template <typename Group>
void addKey(Group& group, model::SignatureStrategy* strategy, const char* certificate, const std::wstring& keyName,
            const std::wstring& friendlyName, std::uint32_t seed)
{
    KeyReference key(testCertificate(certificate), &group, strategy);
    key.keyName = keyName;
    key.friendlyName = friendlyName;
    key.ensureKeyId(seed);
    group.keyReferences.push_back(key);
}

std::shared_ptr<Device> device(const std::wstring& hash, const std::wstring& fantasy, const std::wstring& local)
{
    auto d = std::make_shared<Device>();
    d->hash = hash;
    d->fantasyName = fantasy;
    d->localName = local;
    return d;
}

} // namespace

std::unique_ptr<Orvane> sampleIdentity()
{
    auto* kestrel = &model::KestrelSignatureStrategy::instance();
    auto* harrier = &model::HarrierSignatureStrategy::instance();

    auto identity = std::make_unique<Orvane>();
    identity->privateKeyReference = L"Orvane.0f8c3a52-6d1e-4b7a-9c2d-5e4f3a2b1c0d";
    identity->desktopInfo = {L"ESTACAO-07", L"Debian GNU/Linux 12 (bookworm)", L"jo\u00e3o", L"escrit\u00f3rio.local"};

    KestrelInstallation old;
    old.targetUrl = kOtherKestrelUrl;
    old.installationCode = L"INST-OLD";
    old.hierarchies.lastModified = L"Mon, 01 Jan 2024 00:00:00 GMT";
    old.hierarchies.expires = 1704067200;
    auto oldPhone = device(L"0011223344556677", L"Moto", L"Celular antigo");
    addKey(*oldPhone, kestrel, "test-nfe-associacao-99999090910270-2009", L"k-old", L"Associa\u00e7\u00e3o", 7);
    old.devices.devices.push_back(oldPhone);
    identity->kestrelInstallations.push_back(old);

    KestrelInstallation active;
    active.targetUrl = kActiveKestrelUrl;
    active.installationCode = L"INST-ACTIVE";
    active.hierarchies.lastModified = L"Tue, 02 Jan 2024 10:00:00 GMT";
    active.hierarchies.expires = -5;
    model::Hierarchy cpf;
    cpf.displayName = L"Pessoa F\u00edsica";
    cpf.code = L"CPF";
    cpf.fields = {model::Field{L"999.999.999-99", L"\\d{3}\\.?\\d{3}\\.?\\d{3}-?\\d{2}"}};
    model::Hierarchy empty;
    active.hierarchies.hierarchies = {cpf, empty};
    active.hierarchies.futureVersion = {L"2024-02-01", L"2.2.0 <beta> & \"rc\""};
    active.devices.lastModified = L"W/\"etag\" & <mark>\t\r\n";
    auto phone = device(L"ABCDEFGHIJKL", L"Galaxy <A54> & 'Ana'", L"Celular \"da\" Ana <&> ' \u00e7\u00e3o");
    addKey(*phone, kestrel, kAdemir, L"key-1", L"ADEMIR", 11);
    addKey(*phone, kestrel, kKabum, L"key <2> & co", L"KABUM", 12);
    auto tablet = device(L"XYZ", L"Tablet\tA\r\nB\rC \x01", L"kestrel no XYZ");
    addKey(*tablet, kestrel, "ecnpj-a1-lemos-e-marques-certisign-rfb-g5-2020", L"", L"", 13);
    active.devices.devices = {phone, tablet, device(L"EMPTY0000", L"EMPTY000", L"  ")};
    identity->kestrelInstallations.push_back(active);

    auto account = std::make_shared<HarrierInstallation>();
    account->targetUrl = L"harrier.test";
    account->userId = L"u-17";
    account->userName = L"Ana";
    account->organizationId = L"o-3";
    account->organizationName = L"Org & Filhos <Ltda>";
    account->desktopCode = L"DESK-9";
    account->authorizationMode = L"push";
    account->wallet = std::make_shared<Wallet>();
    account->wallet->lastModified = L"Wed, 03 Jan 2024 08:00:00 GMT";
    addKey(*account->wallet, harrier, "ecnpj-a1-expand-syngularid-multipla-2024", L"0a 1b;CN=AC SyngularID Multipla",
           L"EXPAND", 21);
    addKey(*account->wallet, harrier, "pj-a1-grendene-certisign-multipla-g5-2016", L"0c;CN=AC Certisign", L"GRENDENE",
           22);
    identity->allHarrierInstallations.push_back(account);

    auto elsewhere = std::make_shared<HarrierInstallation>();
    elsewhere->targetUrl = L"other-harrier.test";
    elsewhere->userName = L"Bia";
    elsewhere->wallet = std::make_shared<Wallet>();
    addKey(*elsewhere->wallet, harrier, "test-ecpf-lacuna-alan-mathison-turing-2016", L"0d;CN=Lacuna", L"Alan", 23);
    identity->allHarrierInstallations.push_back(elsewhere);

    identity->setOwners();
    return identity;
}

void removeIdentityFile()
{
    std::filesystem::remove(model::identityFilePath());
}

// The configuration is written once for the whole suite, inside the
// isolated folders, before any test asks for the service addresses.
class ServiceConfiguration : public testing::Environment {
public:
    void SetUp() override { writeServiceConfiguration(); }
};

[[maybe_unused]] testing::Environment* const kServiceConfiguration =
    testing::AddGlobalTestEnvironment(new ServiceConfiguration);

} // namespace orvane::test
