#include "app/ctl/StoreCommands.h"

#include "app/ctl/CommandTable.h"
#include "app/ctl/JsonOutput.h"
#include "signer/Exceptions.h"
#include "signer/NarrowConverter.h"
#include "signer/SystemRepository.h"
#include "signer/directory/DirectoryCertificateStore.h"

#include <algorithm>

namespace orvane::ctl {

using valmora::signer::CertificateStoreError;
using valmora::signer::DirectoryCertificateStore;
using valmora::signer::narrowConverter;
using valmora::signer::StoreEntry;
using valmora::signer::Then;

int storeList(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    bool json = false;
    std::string store = "MY";
    std::size_t named = 0;
    for (const std::string& argument : arguments) {
        if (argument == "--json") {
            json = true;
        } else {
            store = argument;
            ++named;
        }
    }
    const auto& names = valmora::signer::storeNames;
    if (named > 1 || std::find(names.begin(), names.end(), store) == names.end()) {
        err << "orvanectl: store list [--json] [STORE]: STORE is one of MY, AddressBook, CA, ROOT\n";
        return exitUsage;
    }
    const auto stores = DirectoryCertificateStore::forCurrentUser();
    try {
        stores->forEachEntry(store, [&](const StoreEntry& entry) {
            const valmora::signer::CertificateDetail detail = entry.certificate.detail();
            const std::string until = detail.validity.notAfterDate();
            if (json) {
                Json::Value object(Json::objectValue);
                object["fingerprint"] = entry.certificate.fingerprint();
                object["subject"] = detail.subjectDisplayName;
                object["notAfter"] = until;
                if (entry.provider) {
                    Json::Value link(Json::objectValue);
                    link["provider"] = narrowConverter.to_bytes(entry.provider->providerName);
                    link["container"] = narrowConverter.to_bytes(entry.provider->containerName);
                    object["link"] = link;
                } else {
                    object["link"] = Json::Value(Json::nullValue);
                }
                writeJson(out, object);
                out << "\n";
            } else {
                out << entry.certificate.fingerprint() << '\t' << detail.subjectDisplayName << '\t' << until << '\t';
                if (entry.provider)
                    out << narrowConverter.to_bytes(entry.provider->providerName) << '\t'
                        << narrowConverter.to_bytes(entry.provider->containerName) << '\n';
                else
                    out << "none\n";
            }
            return Then::Continue;
        });
    } catch (const CertificateStoreError& error) {
        err << "orvanectl: " << error.what() << "\n";
        return exitFailure;
    }
    return exitSuccess;
}

int storeRemove(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() != 1) {
        err << "orvanectl: store remove FINGERPRINT\n";
        return exitUsage;
    }
    const std::string fingerprint = valmora::signer::normalizeFingerprint(arguments[0]);
    if (DirectoryCertificateStore::fileName(fingerprint).empty()) {
        err << "orvanectl: not a SHA-1 fingerprint: " << arguments[0] << "\n";
        return exitUsage;
    }
    // A repository of its own: the removal is its one task.
    valmora::signer::SystemRepository repository;
    try {
        repository.removeCertificate(repository.findByFingerprint(fingerprint));
    } catch (const std::exception& error) {
        err << "orvanectl: " << error.what() << "\n";
        return exitFailure;
    }
    out << "removed " << fingerprint << "\n";
    return exitSuccess;
}

} // namespace orvane::ctl
