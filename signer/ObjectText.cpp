#include "signer/ObjectText.h"

#include <openssl/objects.h>

namespace valmora::signer {

std::string objectText(const ASN1_OBJECT* object, bool numeric)
{
    if (!object)
        return {};
    char small[128];
    const int length = OBJ_obj2txt(small, sizeof small, object, numeric ? 1 : 0);
    if (length <= 0)
        return {};
    if (static_cast<std::size_t>(length) < sizeof small)
        return std::string(small, static_cast<std::size_t>(length));
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    OBJ_obj2txt(text.data(), length + 1, object, numeric ? 1 : 0);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

} // namespace valmora::signer
