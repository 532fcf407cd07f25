// A program's first look at the PKCS#11 module: C_Initialize, the slot list
// and every object of a phone's token whose "MY" store holds 1000 linked
// certificates, beside its floors: walking the same store as any reader of
// its files does (read and decode each entry), and reading the 1000 files'
// bytes alone.
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "model/identity/Orvane.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/keys/Device.h"
#include "signer/ProviderLink.h"
#include "signer/directory/DirectoryCertificateStore.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <p11-kit/pkcs11.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

using namespace valmora::signer;
namespace model = orvane::model;

namespace {

constexpr int entryCount = 1000;

// A user's folders with an identity of one phone holding 1000 keys, all
// published into "MY"; removed at the end.
class BenchUser {
public:
    BenchUser()
    {
        char pattern[] = "/tmp/orvane-bench-provider-XXXXXX";
        if (!::mkdtemp(pattern))
            throw std::runtime_error("no temporary folder");
        root_ = pattern;
        ::setenv("HOME", root_.c_str(), 1);
        ::setenv("XDG_DATA_HOME", (root_ + "/data").c_str(), 1);
        ::setenv("XDG_CONFIG_DIRS", (root_ + "/etc").c_str(), 1);
        std::filesystem::create_directories(root_ + "/etc/Orvane");
        std::filesystem::create_directories(model::userOrvaneFolder());
        std::ofstream(model::configFilePath()) << "brantis.url = http://127.0.0.1:9\nharrier.url = 127.0.0.1:9\n";

        // One RSA key behind every certificate: the module reads its modulus
        // from each of them.
        EvpPkeyPtr key(EVP_RSA_gen(2048));
        auto identity = std::make_unique<model::Orvane>();
        identity->privateKeyReference = L"Orvane.00000000-0000-4000-8000-000000000000";
        model::KestrelInstallation installation;
        installation.targetUrl = model::kestrelBaseUrl();
        installation.installationCode = L"BENCH";
        auto phone = std::make_shared<model::Device>();
        phone->hash = L"bench-phone";
        phone->applyDefaultNames();
        DirectoryCertificateStore store(model::userOrvaneFolder() + "/certstore");
        for (int i = 0; i < entryCount; ++i) {
            auto certificate = std::make_shared<Certificate>(makeCertificate(key.get(), i));
            model::KeyReference reference(certificate, phone.get(), &model::KestrelSignatureStrategy::instance());
            reference.keyName = L"remote-key-" + std::to_wstring(i);
            reference.ensureKeyId(static_cast<std::uint32_t>(i + 1));
            phone->keyReferences.push_back(reference);
            store.put("MY", StoreEntry{*certificate, KeyProviderInfo{reference.keyName, orvaneProviderName, 24, 0, 2},
                                       std::nullopt});
            paths.push_back(store.entryPath("MY", certificate->fingerprint()));
        }
        installation.devices.devices.push_back(phone);
        identity->kestrelInstallations.push_back(installation);
        identity->setOwners();
        identity->save();
    }
    ~BenchUser() { std::filesystem::remove_all(root_); }

    std::vector<std::string> paths;

private:
    static Certificate makeCertificate(EVP_PKEY* key, int serial)
    {
        X509Ptr x509(X509_new());
        X509_set_version(x509.get(), 2);
        ASN1_INTEGER_set(X509_get_serialNumber(x509.get()), serial + 1);
        const std::string name = "Holder " + std::to_string(serial);
        X509_NAME_add_entry_by_txt(X509_get_subject_name(x509.get()), "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
        X509_NAME_add_entry_by_txt(X509_get_issuer_name(x509.get()), "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("Bench CA"), -1, -1, 0);
        X509_gmtime_adj(X509_getm_notBefore(x509.get()), 0);
        X509_gmtime_adj(X509_getm_notAfter(x509.get()), 86400L * 365);
        X509_set_pubkey(x509.get(), key);
        X509_sign(x509.get(), key, EVP_sha256());
        return Certificate::fromHandle(x509.get());
    }

    std::string root_;
};

BenchUser& user()
{
    static BenchUser made;
    return made;
}

CK_FUNCTION_LIST* module()
{
    static CK_FUNCTION_LIST* functions = [] {
        void* library = dlopen(ORVANE_PKCS11_MODULE, RTLD_NOW | RTLD_LOCAL);
        auto getList = library ? reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList")) : nullptr;
        CK_FUNCTION_LIST* list = nullptr;
        if (!getList || getList(&list) != CKR_OK)
            throw std::runtime_error("cannot load the module");
        return list;
    }();
    return functions;
}

// What a program does when it first looks for a key: initialise, list the
// slots, and find every object of the token.
void BM_InitializeAndFindEveryObject(benchmark::State& state)
{
    user();
    CK_FUNCTION_LIST* p11 = module();
    std::vector<CK_OBJECT_HANDLE> objects(4 * entryCount);
    CK_ULONG found = 0;
    for (auto _ : state) {
        p11->C_Initialize(nullptr);
        CK_SLOT_ID slot = 0;
        CK_ULONG slots = 1;
        p11->C_GetSlotList(CK_TRUE, &slot, &slots);
        CK_SESSION_HANDLE session = 0;
        p11->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session);
        p11->C_FindObjectsInit(session, nullptr, 0);
        p11->C_FindObjects(session, objects.data(), objects.size(), &found);
        p11->C_FindObjectsFinal(session);
        p11->C_Finalize(nullptr);
    }
    if (found != 3 * entryCount)
        state.SkipWithError("the module did not find every object");
    state.counters["objects"] = static_cast<double>(found);
}
BENCHMARK(BM_InitializeAndFindEveryObject)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Floor: the walk of "MY" that every reader of the store's files does.
void BM_FloorWalkTheStore(benchmark::State& state)
{
    user();
    DirectoryCertificateStore store(model::userOrvaneFolder() + "/certstore");
    int linked = 0;
    for (auto _ : state) {
        linked = 0;
        store.forEachEntry("MY", [&](const StoreEntry& entry) {
            linked += entry.provider && entry.provider->providerName == orvaneProviderName;
            return Then::Continue;
        });
    }
    state.counters["entries"] = linked;
}
BENCHMARK(BM_FloorWalkTheStore)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Floor: the bytes of the 1000 entry files and nothing else.
void BM_FloorReadTheFiles(benchmark::State& state)
{
    const std::vector<std::string>& paths = user().paths;
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = 0;
        for (const std::string& path : paths) {
            std::ifstream file(path, std::ios::binary);
            const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
            bytes += text.size();
        }
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["files"] = static_cast<double>(paths.size());
}
BENCHMARK(BM_FloorReadTheFiles)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
