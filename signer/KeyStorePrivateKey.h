#pragma once

#include "signer/PrivateKey.h"

#include <string>
#include <utility>

namespace valmora::signer {

// The private key of a SystemRepository: the name of a key in its key store.
// `byContainer` marks a key reached through a certificate's link or made for
// a request, as opposed to a named key of the agent; the two sign through
// different paths of the repository.
class KeyStorePrivateKey : public PrivateKey {
public:
    KeyStorePrivateKey(std::string name, bool byContainer) : name_(std::move(name)), byContainer_(byContainer) {}

    const std::string& name() const { return name_; }
    bool byContainer() const { return byContainer_; }

private:
    std::string name_;
    bool byContainer_;
};

} // namespace valmora::signer
