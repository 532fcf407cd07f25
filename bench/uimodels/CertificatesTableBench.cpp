// The GUI thread's share of a certificate refresh, with 1000 key references:
// the table's model reset with the rows its worker built, and one read of
// the three roles of every row, as a list view does when it shows them.
//
//   floor: walking the same key references and reading the same three
//          values (friendly name, last day of validity, group name) straight
//          from the identity's objects.
//
// The rows themselves are built on the worker thread; BM_RowsOnWorker
// measures that part for comparison, it does not block the screens.
#include "ui/models/CertificatesTableModel.h"
#include "ui/models/KeyGroupToBeUnregisteredModel.h"
#include "ui/models/VerificationConnectionServer.h"

#include "model/keys/Device.h"
#include "signer/Certificate.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace orvane::model;

namespace {

const char* const kCertificates[] = {
    "ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015", "ecnpj-a1-kabum-certisign-rfb-g5-2019",
    "ecnpj-a1-lemos-e-marques-certisign-rfb-g5-2020", "test-ecpf-lacuna-alan-mathison-turing-2016"};

// `count` keys on phones of ten keys each.
struct Keys {
    std::vector<std::shared_ptr<Device>> phones;
    std::vector<KeyReference*> references;
};

std::unique_ptr<Keys> keysOf(int count)
{
    std::vector<std::shared_ptr<valmora::signer::Certificate>> pool;
    for (const char* name : kCertificates) {
        std::ifstream in(std::string(ORVANE_SHARED_TESTDATA_DIR) + "/icp-brasil/end-entity/" + name + ".pem");
        std::ostringstream text;
        text << in.rdbuf();
        pool.push_back(std::make_shared<valmora::signer::Certificate>(valmora::signer::Certificate::fromText(text.str())));
    }
    auto keys = std::make_unique<Keys>();
    for (int i = 0; i < count; ++i) {
        if (i % 10 == 0) {
            keys->phones.push_back(std::make_shared<Device>());
            keys->phones.back()->localName = L"kestrel no Phone " + std::to_wstring(i / 10);
        }
        Device& phone = *keys->phones.back();
        phone.keyReferences.emplace_back(pool[static_cast<std::size_t>(i) % pool.size()], &phone, nullptr);
        phone.keyReferences.back().friendlyName = L"TITULAR " + std::to_wstring(i);
    }
    for (const auto& phone : keys->phones)
        for (KeyReference* reference : phone->allKeyReferences())
            keys->references.push_back(reference);
    return keys;
}

void BM_RefreshOnGuiThread(benchmark::State& state)
{
    const auto keys = keysOf(static_cast<int>(state.range(0)));
    const std::vector<CertificateRow> rows = CertificateRow::of(keys->references);
    VerificationConnectionServer server;
    KeyGroupToBeUnregisteredModel keyGroups(&server);
    CertificatesTableModel table(nullptr, &keyGroups, &server);
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<CertificateRow> listed = rows;
        state.ResumeTiming();
        table.certificatesListed(std::move(listed), false, 1);
        for (int row = 0; row < table.rowCount(); ++row) {
            const QModelIndex index = table.index(row, 0);
            for (int role : {CertificatesTableModel::CertificateNameRole, CertificatesTableModel::ValidUntilRole,
                             CertificatesTableModel::KeyGroupRole})
                benchmark::DoNotOptimize(table.data(index, role).toString());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_RefreshOnGuiThreadFloor(benchmark::State& state)
{
    const auto keys = keysOf(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        for (const KeyReference* reference : keys->references) {
            benchmark::DoNotOptimize(reference->friendlyName);
            benchmark::DoNotOptimize(reference->certificate->validity().notAfterDate());
            benchmark::DoNotOptimize(reference->group->name());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_RowsOnWorker(benchmark::State& state)
{
    const auto keys = keysOf(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(CertificateRow::of(keys->references));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(BM_RefreshOnGuiThread)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RefreshOnGuiThreadFloor)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RowsOnWorker)->Arg(1000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
