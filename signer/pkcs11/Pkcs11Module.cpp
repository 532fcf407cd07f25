#include "signer/pkcs11/Pkcs11Module.h"

#include "signer/KeyStore.h"

#include <dlfcn.h>

#include <cstdio>

namespace valmora::signer {

Pkcs11Module::Pkcs11Module(const std::string& path) : path_(path)
{
    // Never unloaded: a module may leave handlers behind (at exit, in the
    // crypto library it uses) that must find its code still mapped.
    library_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library_) {
        const char* reason = dlerror();
        throw KeyStoreError(KeyStoreError::Kind::Failure, "Cannot load the PKCS#11 module " + path + ": "
                                                              + (reason ? reason : "unknown reason"));
    }
    auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(dlsym(library_, "C_GetFunctionList"));
    if (!getFunctionList || getFunctionList(&functions_) != CKR_OK || !functions_) {
        dlclose(library_);
        throw KeyStoreError(KeyStoreError::Kind::Failure, "The library " + path + " is no PKCS#11 module");
    }
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_OS_LOCKING_OK;
    const CK_RV rv = functions_->C_Initialize(&arguments);
    if (rv != CKR_OK && rv != CKR_CRYPTOKI_ALREADY_INITIALIZED) {
        dlclose(library_);
        check(rv, "C_Initialize");
    }
    finalize_ = rv == CKR_OK;
}

Pkcs11Module::~Pkcs11Module()
{
    if (finalize_)
        functions_->C_Finalize(nullptr);
    dlclose(library_);
}

void Pkcs11Module::check(CK_RV rv, const char* call)
{
    if (rv == CKR_OK)
        return;
    throw KeyStoreError(KeyStoreError::Kind::Failure, std::string(call) + " failed: " + returnValueName(rv));
}

std::string Pkcs11Module::returnValueName(CK_RV rv)
{
    struct Name {
        CK_RV value;
        const char* text;
    };
    static const Name names[] = {
        {CKR_OK, "CKR_OK"},
        {CKR_HOST_MEMORY, "CKR_HOST_MEMORY"},
        {CKR_SLOT_ID_INVALID, "CKR_SLOT_ID_INVALID"},
        {CKR_GENERAL_ERROR, "CKR_GENERAL_ERROR"},
        {CKR_FUNCTION_FAILED, "CKR_FUNCTION_FAILED"},
        {CKR_ARGUMENTS_BAD, "CKR_ARGUMENTS_BAD"},
        {CKR_ATTRIBUTE_SENSITIVE, "CKR_ATTRIBUTE_SENSITIVE"},
        {CKR_ATTRIBUTE_TYPE_INVALID, "CKR_ATTRIBUTE_TYPE_INVALID"},
        {CKR_ATTRIBUTE_VALUE_INVALID, "CKR_ATTRIBUTE_VALUE_INVALID"},
        {CKR_DATA_INVALID, "CKR_DATA_INVALID"},
        {CKR_DATA_LEN_RANGE, "CKR_DATA_LEN_RANGE"},
        {CKR_DEVICE_ERROR, "CKR_DEVICE_ERROR"},
        {CKR_DEVICE_MEMORY, "CKR_DEVICE_MEMORY"},
        {CKR_ENCRYPTED_DATA_INVALID, "CKR_ENCRYPTED_DATA_INVALID"},
        {CKR_ENCRYPTED_DATA_LEN_RANGE, "CKR_ENCRYPTED_DATA_LEN_RANGE"},
        {CKR_KEY_HANDLE_INVALID, "CKR_KEY_HANDLE_INVALID"},
        {CKR_KEY_TYPE_INCONSISTENT, "CKR_KEY_TYPE_INCONSISTENT"},
        {CKR_KEY_FUNCTION_NOT_PERMITTED, "CKR_KEY_FUNCTION_NOT_PERMITTED"},
        {CKR_MECHANISM_INVALID, "CKR_MECHANISM_INVALID"},
        {CKR_OBJECT_HANDLE_INVALID, "CKR_OBJECT_HANDLE_INVALID"},
        {CKR_OPERATION_ACTIVE, "CKR_OPERATION_ACTIVE"},
        {CKR_PIN_INCORRECT, "CKR_PIN_INCORRECT"},
        {CKR_PIN_LEN_RANGE, "CKR_PIN_LEN_RANGE"},
        {CKR_PIN_LOCKED, "CKR_PIN_LOCKED"},
        {CKR_SESSION_CLOSED, "CKR_SESSION_CLOSED"},
        {CKR_SESSION_HANDLE_INVALID, "CKR_SESSION_HANDLE_INVALID"},
        {CKR_SESSION_READ_ONLY, "CKR_SESSION_READ_ONLY"},
        {CKR_TEMPLATE_INCOMPLETE, "CKR_TEMPLATE_INCOMPLETE"},
        {CKR_TEMPLATE_INCONSISTENT, "CKR_TEMPLATE_INCONSISTENT"},
        {CKR_TOKEN_NOT_PRESENT, "CKR_TOKEN_NOT_PRESENT"},
        {CKR_TOKEN_NOT_RECOGNIZED, "CKR_TOKEN_NOT_RECOGNIZED"},
        {CKR_TOKEN_WRITE_PROTECTED, "CKR_TOKEN_WRITE_PROTECTED"},
        {CKR_USER_ALREADY_LOGGED_IN, "CKR_USER_ALREADY_LOGGED_IN"},
        {CKR_USER_NOT_LOGGED_IN, "CKR_USER_NOT_LOGGED_IN"},
        {CKR_USER_PIN_NOT_INITIALIZED, "CKR_USER_PIN_NOT_INITIALIZED"},
        {CKR_USER_TYPE_INVALID, "CKR_USER_TYPE_INVALID"},
        {CKR_BUFFER_TOO_SMALL, "CKR_BUFFER_TOO_SMALL"},
        {CKR_CRYPTOKI_NOT_INITIALIZED, "CKR_CRYPTOKI_NOT_INITIALIZED"},
        {CKR_CRYPTOKI_ALREADY_INITIALIZED, "CKR_CRYPTOKI_ALREADY_INITIALIZED"},
    };
    for (const Name& name : names)
        if (name.value == rv)
            return name.text;
    char text[32];
    std::snprintf(text, sizeof text, "CKR_0x%08lx", static_cast<unsigned long>(rv));
    return text;
}

} // namespace valmora::signer
