#pragma once

#include "provider/objects/CertificateObjects.h"
#include "provider/objects/EntryCache.h"
#include "provider/session/Session.h"
#include "provider/signing/DigestInfo.h"
#include "provider/tokens/TokenDirectory.h"

#include <p11-kit/pkcs11.h>
#include <sys/types.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace orvane::provider {

// The PKCS#11 module: one slot and token per key group of this computer's
// identity, and on each token the certificates of "MY" linked to the Orvane
// provider with their keys.
//
// A loaded library has exactly one Module (instance()); that object is the
// module's only process-wide state, which PKCS#11 requires, since programs
// reach a module through plain C functions. What one C_Initialize starts
// lives in a State that C_Finalize lets go: calls under way keep their State
// alive until they return. A State remembers the process that made it, so
// that a child after fork() is not initialised until it calls C_Initialize.
//
// Every call holds the State's lock only for its bookkeeping, never while a
// service is asked, so several threads may sign at once.
class Module {
public:
    static Module& instance();

    CK_RV initialize(CK_VOID_PTR arguments);
    CK_RV finalize(CK_VOID_PTR reserved);
    CK_RV getInfo(CK_INFO_PTR info);
    CK_RV getSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slots, CK_ULONG_PTR count);
    CK_RV getSlotInfo(CK_SLOT_ID slotId, CK_SLOT_INFO_PTR info);
    CK_RV getTokenInfo(CK_SLOT_ID slotId, CK_TOKEN_INFO_PTR info);
    CK_RV getMechanismList(CK_SLOT_ID slotId, CK_MECHANISM_TYPE_PTR mechanisms, CK_ULONG_PTR count);
    CK_RV getMechanismInfo(CK_SLOT_ID slotId, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info);
    CK_RV openSession(CK_SLOT_ID slotId, CK_FLAGS flags, CK_SESSION_HANDLE_PTR session);
    CK_RV closeSession(CK_SESSION_HANDLE session);
    CK_RV closeAllSessions(CK_SLOT_ID slotId);
    CK_RV getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info);
    CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pin, CK_ULONG pinLength);
    CK_RV logout(CK_SESSION_HANDLE session);
    CK_RV getAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                            CK_ULONG count);
    CK_RV findObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR pattern, CK_ULONG count);
    CK_RV findObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maximum,
                      CK_ULONG_PTR count);
    CK_RV findObjectsFinal(CK_SESSION_HANDLE session);
    CK_RV signInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
    CK_RV sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLength, CK_BYTE_PTR signature,
               CK_ULONG_PTR signatureLength);
    CK_RV signUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLength);
    CK_RV signFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG_PTR signatureLength);

private:
    struct Login {
        // Key name to the token of the session that C_Login opened on it.
        std::map<std::wstring, std::wstring> sessionTokens;
    };
    struct State {
        pid_t process = 0;
        std::mutex mutex;
        std::shared_ptr<const TokenList> tokens;
        std::map<CK_ULONG, std::shared_ptr<const CertificateObjects>> objects;
        std::map<CK_SESSION_HANDLE, Session> sessions;
        CK_SESSION_HANDLE nextSession = 1;
        std::map<CK_SLOT_ID, Login> logins;
    };

    Module() = default;

    // The State of this process's initialisation, or null.
    std::shared_ptr<State> current() const;
    // The tokens as last listed (listing them when nothing was listed yet,
    // or when `slotId` is not among them). Call with the lock held.
    std::shared_ptr<const TokenList> tokensFor(State& state, CK_SLOT_ID slotId);
    // Runs `body(state, session)` under the lock, once the module is
    // initialised and the session exists.
    template <typename Body>
    CK_RV inSession(CK_SESSION_HANDLE handle, Body body);
    // Runs `body(state, token)` under the lock, once the module is
    // initialised and the slot exists.
    template <typename Body>
    CK_RV onToken(CK_SLOT_ID slotId, Body body);
    // Reads "MY" and makes the objects of every token anew.
    void refreshObjects(State& state, const std::shared_ptr<const TokenList>& tokens);
    // Signs the DigestInfo through the key's service.
    CK_RV signDigest(const std::shared_ptr<State>& state, const Session& session, const SignOperation& operation,
                     const DigestInfo& digest, valmora::signer::Bytes& signature);
    CK_RV finishSignature(const std::shared_ptr<State>& state, CK_SESSION_HANDLE handle, const CK_BYTE* data,
                          CK_ULONG dataLength, bool fromUpdates, CK_BYTE_PTR signature,
                          CK_ULONG_PTR signatureLength);

    // Survives C_Finalize, so that a program that initialises again does
    // not parse an unchanged identity again.
    TokenDirectory directory_;
    // Survives C_Finalize too: entries whose files did not change are not
    // decoded again.
    EntryCache entries_;
    // The objects made at the last search, by the entry they came from, for
    // the token list they were made with.
    std::mutex objectsMutex_;
    std::shared_ptr<const TokenList> objectsTokens_;
    std::unordered_map<const EntryCache::Decoded*, std::shared_ptr<const CertificateObjects>> objectsByEntry_;
    // Handle bases by certificate fingerprint, so that a certificate keeps
    // its handles for the life of the loaded module.
    std::unordered_map<std::string, CK_ULONG> bases_;
    CK_ULONG nextBase_ = 1;
    std::shared_ptr<State> state_;
};

} // namespace orvane::provider
