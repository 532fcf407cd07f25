#include "model/service/SignatureCopy.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace orvane::model {

void copySignature(const valmora::signer::Bytes& signature, unsigned char* buffer, std::size_t capacity)
{
    if (signature.size() > capacity || (!buffer && !signature.empty())) {
        if (buffer)
            std::fill(buffer, buffer + capacity, 0);
        std::fputs("signature longer than its buffer\n", stderr);
        std::abort();
    }
    std::copy(signature.begin(), signature.end(), buffer);
}

} // namespace orvane::model
