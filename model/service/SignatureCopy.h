#pragma once

#include "signer/Encoding.h"

#include <cstddef>

namespace orvane::model {

// Copies a signature into the caller's buffer. A signature longer than the
// buffer means the caller sized it for another key: the buffer is cleared
// and the process ends, since nothing sensible can be handed back.
void copySignature(const valmora::signer::Bytes& signature, unsigned char* buffer, std::size_t capacity);

} // namespace orvane::model
