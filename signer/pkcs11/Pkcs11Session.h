#pragma once

#include <p11-kit/pkcs11.h>

namespace valmora::signer {

// One read-write session on a token, closed when the object goes.
class Pkcs11Session {
public:
    // Throws KeyStoreError when the token refuses the session.
    Pkcs11Session(CK_FUNCTION_LIST* functions, CK_SLOT_ID slot);
    ~Pkcs11Session();
    Pkcs11Session(Pkcs11Session&& other) noexcept;
    Pkcs11Session& operator=(Pkcs11Session&&) = delete;
    Pkcs11Session(const Pkcs11Session&) = delete;
    Pkcs11Session& operator=(const Pkcs11Session&) = delete;

    CK_SESSION_HANDLE handle() const { return handle_; }
    CK_FUNCTION_LIST* functions() const { return functions_; }

private:
    CK_FUNCTION_LIST* functions_;
    CK_SESSION_HANDLE handle_ = CK_INVALID_HANDLE;
};

} // namespace valmora::signer
