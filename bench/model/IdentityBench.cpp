// Load and save of the identity with growing numbers of key references,
// each measured beside its floor: the bare library work that any reader or
// writer of this file has to do.
//
//   load floor: pugixml parse of the same file, then base64 decode and
//               d2i_X509 of every certificate in it;
//   save floor: pugixml build of the same tree from ready strings, i2d_X509
//               and base64 encode of every certificate, serialisation, and
//               the write, fsync and rename of the file.
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/identity/Orvane.h"
#include "config/ApplicationPaths.h"

#include "signer/Certificate.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <pugixml.hpp>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace orvane::model;

namespace {

const char* const kCertificates[] = {
    "ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015", "ecnpj-a1-kabum-certisign-rfb-g5-2019",
    "ecnpj-a1-lemos-e-marques-certisign-rfb-g5-2020",     "ecnpj-a1-expand-syngularid-multipla-2024",
    "pj-a1-grendene-certisign-multipla-g5-2016",          "test-ecpf-lacuna-alan-mathison-turing-2016",
    "test-nfe-associacao-99999090910270-2009"};

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The benchmark's own throw-away HOME and XDG folders.
void isolate()
{
    char pattern[] = "/tmp/orvane-bench-XXXXXX";
    const std::string root = mkdtemp(pattern);
    setenv("HOME", (root + "/home").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/home/.local/share").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root + "/home/.config").c_str(), 1);
    setenv("XDG_CONFIG_DIRS", (root + "/etc-xdg").c_str(), 1);
    std::system(("mkdir -p '" + root + "/home/.local/share' '" + root + "/etc-xdg'").c_str());
}

std::vector<std::shared_ptr<valmora::signer::Certificate>> certificates()
{
    std::vector<std::shared_ptr<valmora::signer::Certificate>> all;
    for (const char* name : kCertificates)
        all.push_back(std::make_shared<valmora::signer::Certificate>(valmora::signer::Certificate::fromText(
            readAll(std::string(ORVANE_SHARED_TESTDATA_DIR) + "/icp-brasil/end-entity/" + name + ".pem"))));
    return all;
}

// An identity holding `count` key references: four in five on phones of
// ten keys each, the rest in one wallet.
std::unique_ptr<Orvane> identityWith(int count)
{
    static const auto pool = certificates();
    auto identity = std::make_unique<Orvane>();
    identity->privateKeyReference = L"Orvane.0f8c3a52-6d1e-4b7a-9c2d-5e4f3a2b1c0d";
    identity->desktopInfo = {L"BENCH", L"Linux", L"user", L"domain"};
    KestrelInstallation kestrel;
    kestrel.targetUrl = L"https://kestrel.bench/TolvaneServices/desktop";
    kestrel.installationCode = L"INST";
    auto harrier = std::make_shared<HarrierInstallation>();
    harrier->targetUrl = L"harrier.bench";
    harrier->userName = L"Ana";
    harrier->wallet = std::make_shared<Wallet>();

    const int onPhones = count - count / 5;
    std::shared_ptr<Device> phone;
    for (int i = 0; i < count; ++i) {
        KeyGroup* group = nullptr;
        SignatureStrategy* strategy = nullptr;
        if (i < onPhones) {
            if (i % 10 == 0) {
                phone = std::make_shared<Device>();
                phone->hash = L"DEVICE-" + std::to_wstring(i);
                phone->fantasyName = L"Phone " + std::to_wstring(i);
                phone->localName = L"kestrel no Phone " + std::to_wstring(i);
                kestrel.devices.devices.push_back(phone);
            }
            group = phone.get();
            strategy = &KestrelSignatureStrategy::instance();
        } else {
            group = harrier->wallet.get();
            strategy = &HarrierSignatureStrategy::instance();
        }
        KeyReference key(pool[static_cast<std::size_t>(i) % pool.size()], group, strategy);
        key.keyName = L"key-" + std::to_wstring(i);
        key.friendlyName = L"Holder " + std::to_wstring(i);
        key.ensureKeyId(static_cast<std::uint32_t>(i + 1));
        if (i < onPhones)
            phone->keyReferences.push_back(key);
        else
            harrier->wallet->keyReferences.push_back(key);
    }
    identity->kestrelInstallations.push_back(kestrel);
    identity->allHarrierInstallations.push_back(harrier);
    identity->setOwners();
    return identity;
}

// One file per size, written once and kept for the whole run.
const std::string& fileFor(int count)
{
    static std::map<int, std::string> texts;
    auto found = texts.find(count);
    if (found == texts.end())
        found = texts.emplace(count, identityWith(count)->documentText()).first;
    return found->second;
}

void install(int count)
{
    std::ofstream(identityFilePath(), std::ios::binary | std::ios::trunc) << fileFor(count);
}

void BM_Load(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    install(count);
    for (auto _ : state) {
        auto identity = Orvane::load();
        benchmark::DoNotOptimize(identity.get());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_LoadFloor(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    install(count);
    const std::string path = identityFilePath();
    std::vector<unsigned char> der;
    for (auto _ : state) {
        pugi::xml_document document;
        if (!document.load_file(path.c_str()))
            state.SkipWithError("parse failed");
        int parsed = 0;
        for (pugi::xpath_node node : document.select_nodes("//Certificate")) {
            const char* text = node.node().text().get();
            const int length = static_cast<int>(std::char_traits<char>::length(text));
            der.resize(static_cast<std::size_t>(length / 4 * 3 + 3));
            const int decoded = EVP_DecodeBlock(der.data(), reinterpret_cast<const unsigned char*>(text), length);
            const unsigned char* cursor = der.data();
            X509* certificate = d2i_X509(nullptr, &cursor, decoded);
            parsed += certificate != nullptr;
            X509_free(certificate);
        }
        if (parsed != count)
            state.SkipWithError("certificates missing");
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_Save(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const auto identity = identityWith(count);
    for (auto _ : state)
        identity->save();
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_SaveFloor(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const auto identity = identityWith(count);
    // The strings and certificates as the writer has them, ready made.
    struct Row { std::string keyName, friendlyName, keyId; X509* certificate; };
    std::vector<Row> rows;
    auto take = [&](KeyReference& key) {
        rows.push_back({pugi::as_utf8(key.keyName), pugi::as_utf8(key.friendlyName),
                        KeyReference::keyIdText(key.keyId), key.certificate->handle()});
    };
    for (const auto& device : identity->kestrelInstallations[0].devices.devices)
        for (KeyReference& key : device->keyReferences)
            take(key);
    for (KeyReference& key : identity->allHarrierInstallations[0]->wallet->keyReferences)
        take(key);
    const std::string path = identityFilePath();
    std::vector<unsigned char> base64;
    for (auto _ : state) {
        pugi::xml_document document;
        pugi::xml_node list = document.append_child("Orvane").append_child("KeyReferences");
        for (const Row& row : rows) {
            pugi::xml_node key = list.append_child("KeyReference");
            key.append_child("KeyName").text().set(row.keyName.c_str());
            key.append_child("FriendlyName").text().set(row.friendlyName.c_str());
            unsigned char* der = nullptr;
            const int length = i2d_X509(row.certificate, &der);
            base64.resize(static_cast<std::size_t>((length + 2) / 3 * 4 + 1));
            EVP_EncodeBlock(base64.data(), der, length);
            OPENSSL_free(der);
            key.append_child("Certificate").text().set(reinterpret_cast<const char*>(base64.data()));
            key.append_child("KeyID").text().set(row.keyId.c_str());
        }
        std::ostringstream text;
        document.save(text, "\t");
        const std::string bytes = text.str();
        const std::string temporary = path + ".floor";
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd < 0 || ::write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) || ::fsync(fd) != 0)
            state.SkipWithError("write failed");
        ::close(fd);
        std::rename(temporary.c_str(), (path + ".floor-target").c_str());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    for (int count : {10, 100, 1000, 10000})
        benchmark->Arg(count);
    benchmark->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true)->MinTime(0.2);
}

BENCHMARK(BM_Load)->Apply(sizes);
BENCHMARK(BM_LoadFloor)->Apply(sizes);
BENCHMARK(BM_Save)->Apply(sizes);
BENCHMARK(BM_SaveFloor)->Apply(sizes);

} // namespace

int main(int argc, char** argv)
{
    isolate();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
