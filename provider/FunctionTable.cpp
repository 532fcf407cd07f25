#include "provider/FunctionTable.h"

#include "provider/Module.h"

#include <new>

namespace orvane::provider {

namespace {

// Runs one call of the module; nothing thrown below reaches the program.
template <typename Call>
CK_RV guard(Call call) noexcept
{
    try {
        return call(Module::instance());
    } catch (const std::bad_alloc&) {
        return CKR_HOST_MEMORY;
    } catch (...) {
        return CKR_GENERAL_ERROR;
    }
}

CK_RV Initialize(CK_VOID_PTR arguments)
{
    return guard([&](Module& module) { return module.initialize(arguments); });
}

CK_RV Finalize(CK_VOID_PTR reserved)
{
    return guard([&](Module& module) { return module.finalize(reserved); });
}

CK_RV GetInfo(CK_INFO_PTR info)
{
    return guard([&](Module& module) { return module.getInfo(info); });
}

CK_RV GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slots, CK_ULONG_PTR count)
{
    return guard([&](Module& module) { return module.getSlotList(tokenPresent, slots, count); });
}

CK_RV GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info)
{
    return guard([&](Module& module) { return module.getSlotInfo(slot, info); });
}

CK_RV GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info)
{
    return guard([&](Module& module) { return module.getTokenInfo(slot, info); });
}

CK_RV GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR mechanisms, CK_ULONG_PTR count)
{
    return guard([&](Module& module) { return module.getMechanismList(slot, mechanisms, count); });
}

CK_RV GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info)
{
    return guard([&](Module& module) { return module.getMechanismInfo(slot, type, info); });
}

CK_RV OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR, CK_NOTIFY, CK_SESSION_HANDLE_PTR session)
{
    return guard([&](Module& module) { return module.openSession(slot, flags, session); });
}

CK_RV CloseSession(CK_SESSION_HANDLE session)
{
    return guard([&](Module& module) { return module.closeSession(session); });
}

CK_RV CloseAllSessions(CK_SLOT_ID slot)
{
    return guard([&](Module& module) { return module.closeAllSessions(slot); });
}

CK_RV GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info)
{
    return guard([&](Module& module) { return module.getSessionInfo(session, info); });
}

CK_RV Login(CK_SESSION_HANDLE session, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pin, CK_ULONG pinLength)
{
    return guard([&](Module& module) { return module.login(session, userType, pin, pinLength); });
}

CK_RV Logout(CK_SESSION_HANDLE session)
{
    return guard([&](Module& module) { return module.logout(session); });
}

CK_RV GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes, CK_ULONG count)
{
    return guard([&](Module& module) { return module.getAttributeValue(session, object, attributes, count); });
}

CK_RV FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR pattern, CK_ULONG count)
{
    return guard([&](Module& module) { return module.findObjectsInit(session, pattern, count); });
}

CK_RV FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maximum, CK_ULONG_PTR count)
{
    return guard([&](Module& module) { return module.findObjects(session, objects, maximum, count); });
}

CK_RV FindObjectsFinal(CK_SESSION_HANDLE session)
{
    return guard([&](Module& module) { return module.findObjectsFinal(session); });
}

CK_RV SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key)
{
    return guard([&](Module& module) { return module.signInit(session, mechanism, key); });
}

CK_RV Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLength, CK_BYTE_PTR signature,
           CK_ULONG_PTR signatureLength)
{
    return guard(
        [&](Module& module) { return module.sign(session, data, dataLength, signature, signatureLength); });
}

CK_RV SignUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLength)
{
    return guard([&](Module& module) { return module.signUpdate(session, part, partLength); });
}

CK_RV SignFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG_PTR signatureLength)
{
    return guard([&](Module& module) { return module.signFinal(session, signature, signatureLength); });
}

// Operations that this module does not offer: it only lists and signs. The
// entry's own type picks the parameters.
template <typename... Arguments>
CK_RV notSupported(Arguments...)
{
    return CKR_FUNCTION_NOT_SUPPORTED;
}

} // namespace

CK_FUNCTION_LIST* functionTable()
{
    static CK_FUNCTION_LIST table = [] {
        CK_FUNCTION_LIST list{};
        list.version = {2, 40};
        list.C_Initialize = Initialize;
        list.C_Finalize = Finalize;
        list.C_GetInfo = GetInfo;
        list.C_GetFunctionList = ::C_GetFunctionList;
        list.C_GetSlotList = GetSlotList;
        list.C_GetSlotInfo = GetSlotInfo;
        list.C_GetTokenInfo = GetTokenInfo;
        list.C_GetMechanismList = GetMechanismList;
        list.C_GetMechanismInfo = GetMechanismInfo;
        list.C_InitToken = notSupported;
        list.C_InitPIN = notSupported;
        list.C_SetPIN = notSupported;
        list.C_OpenSession = OpenSession;
        list.C_CloseSession = CloseSession;
        list.C_CloseAllSessions = CloseAllSessions;
        list.C_GetSessionInfo = GetSessionInfo;
        list.C_GetOperationState = notSupported;
        list.C_SetOperationState = notSupported;
        list.C_Login = Login;
        list.C_Logout = Logout;
        list.C_CreateObject = notSupported;
        list.C_CopyObject = notSupported;
        list.C_DestroyObject = notSupported;
        list.C_GetObjectSize = notSupported;
        list.C_GetAttributeValue = GetAttributeValue;
        list.C_SetAttributeValue = notSupported;
        list.C_FindObjectsInit = FindObjectsInit;
        list.C_FindObjects = FindObjects;
        list.C_FindObjectsFinal = FindObjectsFinal;
        list.C_EncryptInit = notSupported;
        list.C_Encrypt = notSupported;
        list.C_EncryptUpdate = notSupported;
        list.C_EncryptFinal = notSupported;
        list.C_DecryptInit = notSupported;
        list.C_Decrypt = notSupported;
        list.C_DecryptUpdate = notSupported;
        list.C_DecryptFinal = notSupported;
        list.C_DigestInit = notSupported;
        list.C_Digest = notSupported;
        list.C_DigestUpdate = notSupported;
        list.C_DigestKey = notSupported;
        list.C_DigestFinal = notSupported;
        list.C_SignInit = SignInit;
        list.C_Sign = Sign;
        list.C_SignUpdate = SignUpdate;
        list.C_SignFinal = SignFinal;
        list.C_SignRecoverInit = notSupported;
        list.C_SignRecover = notSupported;
        list.C_VerifyInit = notSupported;
        list.C_Verify = notSupported;
        list.C_VerifyUpdate = notSupported;
        list.C_VerifyFinal = notSupported;
        list.C_VerifyRecoverInit = notSupported;
        list.C_VerifyRecover = notSupported;
        list.C_DigestEncryptUpdate = notSupported;
        list.C_DecryptDigestUpdate = notSupported;
        list.C_SignEncryptUpdate = notSupported;
        list.C_DecryptVerifyUpdate = notSupported;
        list.C_GenerateKey = notSupported;
        list.C_GenerateKeyPair = notSupported;
        list.C_WrapKey = notSupported;
        list.C_UnwrapKey = notSupported;
        list.C_DeriveKey = notSupported;
        list.C_SeedRandom = notSupported;
        list.C_GenerateRandom = notSupported;
        list.C_GetFunctionStatus = [](CK_SESSION_HANDLE) -> CK_RV { return CKR_FUNCTION_NOT_PARALLEL; };
        list.C_CancelFunction = [](CK_SESSION_HANDLE) -> CK_RV { return CKR_FUNCTION_NOT_PARALLEL; };
        list.C_WaitForSlotEvent = notSupported;
        return list;
    }();
    return &table;
}

} // namespace orvane::provider

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR list)
{
    if (!list)
        return CKR_ARGUMENTS_BAD;
    *list = orvane::provider::functionTable();
    return CKR_OK;
}
