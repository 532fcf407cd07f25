#pragma once

#include "provider/objects/EntryCache.h"
#include "signer/Certificate.h"
#include "signer/Encoding.h"

#include <p11-kit/pkcs11.h>

#include <optional>
#include <string>

namespace orvane::provider {

// The three objects that one certificate of "MY" linked to the provider
// gives on its token: the certificate, its private key (which only signs,
// and never leaves the service) and its public key. Their handles are
// base * 4 + the kind, so a handle tells its certificate and its kind.
class CertificateObjects {
public:
    enum Kind : CK_ULONG { CertificateKind = 1, PrivateKeyKind = 2, PublicKeyKind = 3 };

    // What a value lookup answers for one attribute.
    struct Value {
        enum class State { Present, Sensitive, Invalid } state = State::Invalid;
        valmora::signer::Bytes bytes;
    };

    // Throws std::invalid_argument for a certificate whose key is not RSA.
    CertificateObjects(std::shared_ptr<const EntryCache::Decoded> source, CK_SLOT_ID slotId, std::wstring keyName,
                       valmora::signer::Bytes keyId, std::string label, bool privateKeyNeedsLogin);

    static CK_OBJECT_HANDLE handle(CK_ULONG base, Kind kind) { return base * 4 + kind; }
    static CK_ULONG baseOf(CK_OBJECT_HANDLE handle) { return handle / 4; }
    static std::optional<Kind> kindOf(CK_OBJECT_HANDLE handle);

    Value attribute(Kind kind, CK_ATTRIBUTE_TYPE type) const;
    // Whether every attribute of the template has exactly the given value.
    bool matches(Kind kind, const CK_ATTRIBUTE* pattern, CK_ULONG count) const;
    // Whether the object is seen by a session that is (or is not) logged in.
    bool visible(Kind kind, bool loggedIn) const;

    const valmora::signer::Certificate& certificate() const { return source_->entry.certificate; }
    CK_SLOT_ID slotId() const { return slotId_; }
    const std::wstring& keyName() const { return keyName_; }
    // The length of a signature of this key.
    std::size_t modulusLength() const { return source_->modulus.size(); }

private:
    std::shared_ptr<const EntryCache::Decoded> source_;
    CK_SLOT_ID slotId_;
    std::wstring keyName_;
    valmora::signer::Bytes keyId_;
    std::string label_;
    bool privateKeyNeedsLogin_;
};

} // namespace orvane::provider
