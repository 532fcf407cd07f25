#include "signer/CertificateStore.h"

#include <utility>

namespace valmora::signer {

CertificateStoreError::CertificateStoreError(int code, std::string text) : code_(code), text_(std::move(text)) {}

const char* CertificateStoreError::what() const noexcept { return text_.c_str(); }

CertificateStore::~CertificateStore() = default;

} // namespace valmora::signer
