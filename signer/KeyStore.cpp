#include "signer/KeyStore.h"

#include <utility>

namespace valmora::signer {

KeyStoreError::KeyStoreError(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

const char* KeyStoreError::what() const noexcept { return text_.c_str(); }

KeyStore::~KeyStore() = default;

} // namespace valmora::signer
