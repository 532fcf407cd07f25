#include "signer/pkcs11/Pkcs11Session.h"

#include "signer/pkcs11/Pkcs11Module.h"

namespace valmora::signer {

Pkcs11Session::Pkcs11Session(CK_FUNCTION_LIST* functions, CK_SLOT_ID slot) : functions_(functions)
{
    Pkcs11Module::check(functions_->C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr,
                                                  &handle_),
                        "C_OpenSession");
}

Pkcs11Session::~Pkcs11Session()
{
    if (handle_ != CK_INVALID_HANDLE)
        functions_->C_CloseSession(handle_);
}

Pkcs11Session::Pkcs11Session(Pkcs11Session&& other) noexcept : functions_(other.functions_), handle_(other.handle_)
{
    other.handle_ = CK_INVALID_HANDLE;
}

} // namespace valmora::signer
