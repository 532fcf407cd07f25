// Publication of 1000 keys into a "MY" store of 1000 linked entries, half of
// which change their link on every run, beside its floor: reading and
// rewriting the changed entries' files and nothing else.
#include "config/AtomicFile.h"
#include "signer/Publication.h"
#include "signer/directory/DirectoryCertificateStore.h"

#include <benchmark/benchmark.h>

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

using namespace valmora::signer;

namespace {

constexpr int entryCount = 1000;

// Certificates made once: an EC key signs quickly, and publication never
// looks at the key type.
std::vector<Certificate> makeCertificates()
{
    EvpPkeyPtr key(EVP_EC_gen("P-256"));
    if (!key)
        throw std::runtime_error("no key");
    std::vector<Certificate> certificates;
    for (int i = 0; i < entryCount; ++i) {
        X509Ptr x509(X509_new());
        X509_set_version(x509.get(), 2);
        ASN1_INTEGER_set(X509_get_serialNumber(x509.get()), i + 1);
        X509_NAME* subject = X509_get_subject_name(x509.get());
        const std::string name = "Holder " + std::to_string(i);
        X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(name.c_str()),
                                   -1, -1, 0);
        X509_NAME* issuer = X509_get_issuer_name(x509.get());
        X509_NAME_add_entry_by_txt(issuer, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("Bench CA"), -1,
                                   -1, 0);
        X509_gmtime_adj(X509_getm_notBefore(x509.get()), 0);
        X509_gmtime_adj(X509_getm_notAfter(x509.get()), 86400L * 365);
        X509_set_pubkey(x509.get(), key.get());
        X509_sign(x509.get(), key.get(), EVP_sha256());
        certificates.push_back(Certificate::fromHandle(x509.get()));
    }
    return certificates;
}

// A store folder filled with the linked entries, removed at the end.
class BenchStore {
public:
    explicit BenchStore(const std::vector<Certificate>& certificates)
    {
        char pattern[] = "/tmp/orvane-bench-store-XXXXXX";
        if (!::mkdtemp(pattern))
            throw std::runtime_error("no temporary folder");
        root_ = pattern;
        store = std::make_shared<DirectoryCertificateStore>(root_ + "/certstore");
        for (std::size_t i = 0; i < certificates.size(); ++i)
            store->put("MY", StoreEntry{certificates[i], KeyProviderInfo{keyName(i, 0), orvaneProviderName, 24, 0, 2},
                                        std::nullopt});
    }
    ~BenchStore() { std::filesystem::remove_all(root_); }

    // The even half gets a new name on every other run.
    static std::wstring keyName(std::size_t index, int round)
    {
        return L"remote-key-" + std::to_wstring(index) + (index % 2 == 0 && round % 2 == 1 ? L"-renamed" : L"");
    }

    std::shared_ptr<DirectoryCertificateStore> store;

private:
    std::string root_;
};

const std::vector<Certificate>& certificates()
{
    static const std::vector<Certificate> made = makeCertificates();
    return made;
}

void BM_PublishHalfChanged(benchmark::State& state)
{
    BenchStore bench(certificates());
    const SystemRepository stores(nullptr, bench.store);
    std::vector<PublishedKey> keys[2];
    for (int round = 0; round < 2; ++round)
        for (std::size_t i = 0; i < certificates().size(); ++i)
            keys[round].push_back({certificates()[i], BenchStore::keyName(i, round), L""});
    int round = 1;
    for (auto _ : state) {
        publishCertificates(keys[round], stores);
        round ^= 1;
    }
    state.counters["entries"] = entryCount;
    state.counters["changed"] = entryCount / 2;
}
BENCHMARK(BM_PublishHalfChanged)->Unit(benchmark::kMillisecond)->MinTime(1.0);

// The floor: read each changed entry's file and write it back whole with
// the new container name, by the same atomic writer.
void BM_FloorRewriteChangedFiles(benchmark::State& state)
{
    BenchStore bench(certificates());
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < certificates().size(); i += 2)
        paths.push_back(bench.store->entryPath("MY", certificates()[i].fingerprint()));
    int round = 1;
    for (auto _ : state) {
        for (std::size_t k = 0; k < paths.size(); ++k) {
            std::ifstream file(paths[k], std::ios::binary);
            std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
            const std::string from = "container-name: remote-key-" + std::to_string(2 * k);
            const auto at = text.find(from) + from.size();
            if (round == 1)
                text.insert(at, "-renamed");
            else
                text.erase(at, 8);
            orvane::model::writeFileAtomically(paths[k], text, 0600);
        }
        round ^= 1;
    }
    state.counters["changed"] = static_cast<double>(paths.size());
}
BENCHMARK(BM_FloorRewriteChangedFiles)->Unit(benchmark::kMillisecond)->MinTime(1.0);

} // namespace

BENCHMARK_MAIN();
