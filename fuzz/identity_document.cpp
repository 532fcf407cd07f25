// The identity document as it may lie on disk: read into the aggregate the
// way the agent reads it (without the catalogue call of the active
// installation), then written and read again with nothing lost.
#include "model/identity/BaseException.h"
#include "model/identity/IdentityDocument.h"
#include "model/identity/Orvane.h"
#include "signer/Exceptions.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

std::unique_ptr<orvane::model::Orvane> readIdentity(const std::string& bytes)
{
    pugi::xml_document document;
    orvane::model::parseIdentityDocument(document, bytes);
    bool dirty = false;
    return orvane::model::Orvane::fromDocument(document, dirty, {});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::unique_ptr<orvane::model::Orvane> identity;
    try {
        identity = readIdentity(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const orvane::model::BaseException&) {
        return 0;  // malformed file, or a wallet key without identifier
    } catch (const valmora::signer::BaseException&) {
        return 0;  // a certificate without common name
    } catch (const std::invalid_argument&) {
        return 0;  // a certificate text that is none
    }
    const std::string written = identity->documentText();
    if (readIdentity(written)->documentText() != written)
        __builtin_trap();  // a save and a load changed the identity
    return 0;
}
