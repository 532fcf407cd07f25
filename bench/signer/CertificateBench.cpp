// Parsing 1000 certificates from base64 and computing what the screens show
// of each, against the floor of OpenSSL's own parse of the same DER bytes.

#include "signer/Certificate.h"
#include "signer/Encoding.h"

#include <benchmark/benchmark.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

using valmora::signer::Bytes;

constexpr std::size_t certificateCount = 1000;

struct Corpus {
    std::vector<Bytes> der;
    std::vector<std::string> base64;
};

// The real ICP-Brasil certificates of the test data, repeated up to 1000.
const Corpus& corpus()
{
    static const Corpus corpus = [] {
        std::vector<Bytes> distinct;
        const std::string root = std::string(ORVANE_SHARED_TESTDATA_DIR) + "/icp-brasil";
        for (const char* folder : {"end-entity", "ca/intermediates", "ca/roots", "ca/test-pki"}) {
            std::vector<std::filesystem::path> files;
            for (const auto& entry : std::filesystem::directory_iterator(root + "/" + folder))
                files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto& path : files) {
                std::ifstream in(path, std::ios::binary);
                std::ostringstream pem;
                pem << in.rdbuf();
                const std::string text = pem.str();
                BIO* bio = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
                X509* x509 = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
                BIO_free(bio);
                if (!x509)
                    continue;
                unsigned char* der = nullptr;
                const int length = i2d_X509(x509, &der);
                distinct.emplace_back(der, der + length);
                OPENSSL_free(der);
                X509_free(x509);
            }
        }
        if (distinct.empty())
            throw std::runtime_error("no certificates under " + root);
        Corpus result;
        for (std::size_t i = 0; i < certificateCount; ++i) {
            result.der.push_back(distinct[i % distinct.size()]);
            Bytes copy = result.der.back();
            result.base64.push_back(valmora::signer::base64Encode(copy));
        }
        return result;
    }();
    return corpus;
}

void ParseBase64AndDetail(benchmark::State& state)
{
    const Corpus& data = corpus();
    for (auto _ : state) {
        for (const std::string& text : data.base64) {
            const valmora::signer::Certificate certificate = valmora::signer::Certificate::fromText(text);
            valmora::signer::CertificateDetail detail = certificate.detail();
            benchmark::DoNotOptimize(detail);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * data.base64.size()));
}

// The floor: OpenSSL's parse of the DER alone.
void BareD2iX509(benchmark::State& state)
{
    const Corpus& data = corpus();
    for (auto _ : state) {
        for (const Bytes& der : data.der) {
            const unsigned char* cursor = der.data();
            X509* x509 = d2i_X509(nullptr, &cursor, static_cast<long>(der.size()));
            benchmark::DoNotOptimize(x509);
            X509_free(x509);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * data.der.size()));
}

BENCHMARK(ParseBase64AndDetail)->Unit(benchmark::kMillisecond);
BENCHMARK(BareD2iX509)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
