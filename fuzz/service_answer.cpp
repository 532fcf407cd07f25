// A body that a service sends back, read as the agent reads it. The first
// byte says which answer it stands for; the rest is the body.
#include "model/catalogue/HierarchyCatalogue.h"
#include "model/keys/Device.h"
#include "model/keys/Wallet.h"
#include "model/service/JsonFields.h"
#include "net/DocumentPosting.h"
#include "signer/Exceptions.h"

#include <json/json.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

void readAnswer(std::uint8_t kind, const Json::Value& body)
{
    using namespace orvane::model;
    switch (kind % 3) {
    case 0:  // /listHierarchies
        HierarchyCatalogue::fromJson(body);
        break;
    case 1: {  // /listCertificates/, inside its envelope
        const Json::Value reply = valmora::net::envelopeContent(body);
        if (reply.isArray())
            for (const Json::Value& element : reply)
                Device::fromJson(element);
        break;
    }
    case 2:  // carteira
        Wallet::fromJson(json::member(body, "certificados"));
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    Json::Value body;
    std::string errors;
    if (!valmora::net::parseDocument(in, body, errors))
        return 0;
    try {
        readAnswer(data[0], body);
    } catch (const Json::Exception&) {
        // A member of the wrong JSON type: JsonCpp's failure reaches the
        // caller, as for every answer.
    } catch (const valmora::signer::BaseException&) {
        // A certificate without common name.
    } catch (const std::invalid_argument&) {
        // A certificate text that is none.
    }
    return 0;
}
