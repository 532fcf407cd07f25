// A body that a service sends back, read as the agent reads it. The first
// byte says which answer it stands for (its low six bits, modulo the number
// of answers), whether it came with an error status (high bit) and, for the
// readers that judge the exchange themselves, whether no answer came at all
// (bit 6); the rest is the body.
#include "model/catalogue/HierarchyCatalogue.h"
#include "model/harrier/HarrierCalls.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/identity/BaseException.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "model/kestrel/KestrelEnrolment.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/keys/Device.h"
#include "model/keys/Wallet.h"
#include "model/service/JsonFields.h"
#include "net/DocumentOutcome.h"
#include "net/DocumentPosting.h"
#include "signer/Exceptions.h"

#include <json/json.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr unsigned kAnswers = 16;

bool isEnvelope(unsigned answer)
{
    // The Kestrel calls other than the catalogue and "/create" come in the
    // signed envelope.
    switch (answer) {
    case 1: case 3: case 7: case 9: case 10: case 11: case 12: case 15:
        return true;
    default:
        return false;
    }
}

void readAnswer(std::uint8_t kind, const Json::Value& body, std::vector<unsigned char>& signature)
{
    using namespace orvane::model;
    const unsigned answer = (kind & 0x3Fu) % kAnswers;
    const int status = (kind & 0x80) ? 403 : 200;
    valmora::net::DocumentOutcome outcome;
    outcome.offline = (kind & 0x40) ? 1 : 0;
    outcome.httpStatus = outcome.offline ? 0 : static_cast<std::uint16_t>(status);
    const Json::Value reply = isEnvelope(answer) ? valmora::net::envelopeContent(body) : body;
    HarrierInstallation harrier;
    switch (answer) {
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
    case 8:
        readCreateAnswer(reply, outcome, L"http://127.0.0.1/TolvaneServices/desktop");
        break;
    case 9:  // /requestAuthorization/ with a letter
        readAuthorizationRequestAnswer(reply);
        break;
    case 10:
        readIsAuthorizedAnswer(reply);
        break;
    case 11:
        readMaintenanceAnswer(reply);
        break;
    case 12:
        readCancelAnswer(reply);
        break;
    case 13:
        readDesktopRegistrationAnswer(harrier, reply, outcome, L"127.0.0.1:8443");
        break;
    case 14:  // statusCelular
        readAuthorizationModeAnswer(harrier, reply, outcome);
        break;
    case 15:
        KestrelSignatureStrategy::readPushAnswer(reply);
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
