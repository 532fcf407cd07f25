#include "app/ctl/CertCommands.h"

#include "app/ctl/CommandTable.h"
#include "app/ctl/JsonOutput.h"
#include "signer/NarrowConverter.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace orvane::ctl {

using valmora::signer::Certificate;
using valmora::signer::CertificateDetail;
using valmora::signer::CompanyDescription;
using valmora::signer::PersonDescription;

namespace {

Json::Value stringList(const std::vector<std::string>& values)
{
    Json::Value list(Json::arrayValue);
    for (const std::string& value : values)
        list.append(value);
    return list;
}

const char* kindName(std::int32_t kind)
{
    switch (kind) {
    case valmora::signer::PersonIdentity:
        return "person";
    case valmora::signer::CompanyIdentity:
        return "company";
    default:
        return "none";
    }
}

Json::Value identityJson(const CertificateDetail& detail)
{
    Json::Value identity(Json::objectValue);
    if (const auto* person = dynamic_cast<const PersonDescription*>(detail.identity.get())) {
        identity["birthDate"] = person->birthDate;
        identity["cpf"] = person->cpf;
        identity["pis"] = person->pis;
        identity["rg"] = person->rg;
        identity["rgIssuer"] = person->rgIssuer;
        identity["cei"] = person->cei;
        identity["voterId"] = person->voterId;
        identity["voterZone"] = person->voterZone;
        identity["voterSection"] = person->voterSection;
        identity["voterCity"] = person->voterCity;
    } else if (const auto* company = dynamic_cast<const CompanyDescription*>(detail.identity.get())) {
        identity["birthDate"] = company->birthDate;
        identity["cpf"] = company->cpf;
        identity["pis"] = company->pis;
        identity["rg"] = company->rg;
        identity["rgIssuer"] = company->rgIssuer;
        identity["responsibleName"] = company->responsibleName;
        identity["cnpj"] = company->cnpj;
        identity["cei"] = company->cei;
    } else {
        return Json::Value(Json::nullValue);
    }
    return identity;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

} // namespace

Json::Value certificateJson(const Certificate& certificate)
{
    const CertificateDetail detail = certificate.detail();
    Json::Value json(Json::objectValue);
    json["subject"] = detail.subjectDisplayName;
    json["issuer"] = detail.issuerDisplayName;
    json["serial"] = detail.serial;
    json["fingerprint"] = detail.fingerprint;
    json["notAfter"] = detail.validity.notAfterDate();
    json["email"] = detail.email;
    json["keyUsages"] = stringList(detail.keyUsages);
    Json::Value policies(Json::arrayValue);
    for (const std::wstring& description : detail.policyDescriptions)
        policies.append(valmora::signer::narrowConverter.to_bytes(description));
    json["policies"] = policies;
    json["identityKind"] = kindName(detail.identityKind);
    json["identity"] = identityJson(detail);
    return json;
}

Certificate readCertificateFile(const std::string& content)
{
    try {
        return Certificate::fromText(content);
    } catch (const std::invalid_argument&) {
        // Base64 saved by an editor or a mail program comes with line breaks
        // and a final newline, which the decoder does not take.
        std::string compact;
        for (const char c : content)
            if (!isBlank(c))
                compact += c;
        if (compact.empty() || compact.size() == content.size())
            throw;
        return Certificate::fromText(compact);
    }
}

int certShow(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.empty()) {
        err << "orvanectl: cert show: no file given\n";
        printUsage(err);
        return exitUsage;
    }
    int status = exitSuccess;
    for (const std::string& file : arguments) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            err << "orvanectl: cert show: " << file << ": cannot read: " << std::strerror(errno) << "\n";
            status = exitFailure;
            continue;
        }
        std::ostringstream content;
        content << in.rdbuf();
        Certificate certificate;
        try {
            certificate = readCertificateFile(content.str());
        } catch (const std::invalid_argument&) {
            err << "orvanectl: cert show: " << file << ": not a certificate (PEM, DER or base64 expected)\n";
            status = exitFailure;
            continue;
        }
        Json::Value json = certificateJson(certificate);
        json["file"] = file;
        writeJson(out, json);
        out << "\n";
    }
    return status;
}

} // namespace orvane::ctl
