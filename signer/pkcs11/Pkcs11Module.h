#pragma once

#include <p11-kit/pkcs11.h>

#include <string>

namespace valmora::signer {

// One loaded and initialised PKCS#11 module. The module is initialised for
// use by several threads with the system's own locking. When the module was
// initialised already (by another part of the process), it is used as it
// stands and left initialised at the end.
class Pkcs11Module {
public:
    // Throws KeyStoreError when the library cannot be loaded or initialised.
    explicit Pkcs11Module(const std::string& path);
    ~Pkcs11Module();
    Pkcs11Module(const Pkcs11Module&) = delete;
    Pkcs11Module& operator=(const Pkcs11Module&) = delete;

    CK_FUNCTION_LIST* functions() const { return functions_; }
    const std::string& path() const { return path_; }

    // Throws KeyStoreError "<call> failed: <CKR name>" unless rv is CKR_OK.
    static void check(CK_RV rv, const char* call);
    // "CKR_PIN_INCORRECT", or "CKR_0x..." for a value without a name here.
    static std::string returnValueName(CK_RV rv);

private:
    std::string path_;
    void* library_ = nullptr;
    CK_FUNCTION_LIST* functions_ = nullptr;
    bool finalize_ = false;
};

} // namespace valmora::signer
