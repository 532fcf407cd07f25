#include "signer/PrivateKey.h"

namespace valmora::signer {

PrivateKey::~PrivateKey() = default;

} // namespace valmora::signer
