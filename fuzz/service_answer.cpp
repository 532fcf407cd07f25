// A body that a service sends back, read as the agent reads it. The first
// byte says which answer it stands for (low bits) and whether it came with
// an error status (high bit); the rest is the body.
#include "model/catalogue/HierarchyCatalogue.h"
#include "model/harrier/HarrierCalls.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/identity/BaseException.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
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
#include <vector>

namespace {

void readAnswer(std::uint8_t kind, const Json::Value& body, std::vector<unsigned char>& signature)
{
    using namespace orvane::model;
    const int status = (kind & 0x80) ? 403 : 200;
    // The Kestrel calls other than the catalogue come in the signed envelope.
    const Json::Value reply = (kind % 8 == 1 || kind % 8 == 3 || kind % 8 == 7)
        ? valmora::net::envelopeContent(body) : body;
    switch (kind % 8) {
    case 0:
        HierarchyCatalogue::fromJson(reply);
        break;
    case 1:  // /listCertificates/
        if (reply.isArray())
            for (const Json::Value& element : reply)
                Device::fromJson(element);
        break;
    case 2:  // carteira
        Wallet::fromJson(json::member(reply, "certificados"));
        break;
    case 3:  // /requestAuthorization/
        readDeviceSearchAnswer(reply);
        break;
    case 4:
        readLoginAnswer(reply, status);
        break;
    case 5:
        HarrierSignatureStrategy::readSessionAnswer(reply, status);
        break;
    case 6:
        HarrierSignatureStrategy::readSignatureAnswer(reply, status, signature.data(), signature.size());
        break;
    case 7:  // /isDone/
        KestrelSignatureStrategy::readPollAnswer(reply, signature.data(), signature.size());
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::istringstream in(text);
    Json::Value body;
    std::string errors;
    if (!valmora::net::parseDocument(in, body, errors))
        return 0;
    // Room for any signature the body can hold: a longer one is the caller's
    // mistake and ends the process by design.
    std::vector<unsigned char> signature(text.size());
    try {
        readAnswer(data[0], body, signature);
    } catch (const Json::Exception&) {
        // A member of the wrong JSON type: JsonCpp's failure reaches the
        // caller, as for every answer.
    } catch (const orvane::model::BaseException&) {
        // A refusal that the signature calls report by exception.
    } catch (const valmora::signer::BaseException&) {
        // A certificate without common name.
    } catch (const std::invalid_argument&) {
        // A certificate or signature text that is no base64.
    }
    return 0;
}
