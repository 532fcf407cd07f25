#include "provider/Module.h"

#include "config/TextCodec.h"
#include "model/service/ServiceExchange.h"
#include "net/ProxyCredentialPrompt.h"
#include "provider/signing/LoginText.h"
#include "provider/signing/RemoteSigner.h"
#include "signer/ProviderLink.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace orvane::provider {

namespace {

using valmora::signer::Bytes;

const CK_MECHANISM_TYPE kMechanisms[] = {CKM_RSA_PKCS, CKM_SHA1_RSA_PKCS, CKM_SHA256_RSA_PKCS,
                                         CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS};

// The hash of a hashing mechanism, by the services' name; empty for
// CKM_RSA_PKCS; nothing for a mechanism the module does not have.
std::optional<std::string> hashNameOf(CK_MECHANISM_TYPE mechanism)
{
    switch (mechanism) {
    case CKM_RSA_PKCS:
        return std::string();
    case CKM_SHA1_RSA_PKCS:
        return std::string("SHA1");
    case CKM_SHA256_RSA_PKCS:
        return std::string("SHA256");
    case CKM_SHA384_RSA_PKCS:
        return std::string("SHA384");
    case CKM_SHA512_RSA_PKCS:
        return std::string("SHA512");
    default:
        return std::nullopt;
    }
}

// Blank-padded text of a fixed PKCS#11 field, cut on a character boundary.
void padded(unsigned char* field, std::size_t size, const std::string& text)
{
    std::size_t length = std::min(text.size(), size);
    while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80)
        --length;
    std::memset(field, ' ', size);
    std::memcpy(field, text.data(), length);
}

// Nobody is asked anything inside another program: a proxy that wants
// credentials counts as cancelled.
class NoPrompt : public valmora::net::ProxyCredentialPrompt {
public:
    int ask(std::wstring&, std::wstring&) override { return 1; }
};

std::string labelOf(const valmora::signer::StoreEntry& entry, const RemoteKey& key)
{
    if (entry.friendlyName && !entry.friendlyName->empty())
        return model::toUtf8(*entry.friendlyName);
    if (!key.friendlyName.empty())
        return model::toUtf8(key.friendlyName);
    return valmora::signer::Certificate::displayName(X509_get_subject_name(entry.certificate.handle()));
}

} // namespace

Module& Module::instance()
{
    // Never destroyed: a program may still call in while its static objects
    // go away at exit.
    static Module* module = new Module;
    return *module;
}

std::shared_ptr<Module::State> Module::current() const
{
    std::shared_ptr<State> state = std::atomic_load(&state_);
    if (!state || state->process != ::getpid())
        return nullptr;
    return state;
}

template <typename Body>
CK_RV Module::inSession(CK_SESSION_HANDLE handle, Body body)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    const std::lock_guard<std::mutex> lock(state->mutex);
    const auto found = state->sessions.find(handle);
    if (found == state->sessions.end())
        return CKR_SESSION_HANDLE_INVALID;
    return body(*state, found->second);
}

template <typename Body>
CK_RV Module::onToken(CK_SLOT_ID slotId, Body body)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    const std::lock_guard<std::mutex> lock(state->mutex);
    const KeyGroupToken* token = tokensFor(*state, slotId)->find(slotId);
    if (!token)
        return CKR_SLOT_ID_INVALID;
    return body(*state, *token);
}

CK_RV Module::initialize(CK_VOID_PTR arguments)
{
    if (arguments) {
        const auto* given = static_cast<const CK_C_INITIALIZE_ARGS*>(arguments);
        if (given->pReserved)
            return CKR_ARGUMENTS_BAD;
        const int callbacks = (given->CreateMutex != nullptr) + (given->DestroyMutex != nullptr)
            + (given->LockMutex != nullptr) + (given->UnlockMutex != nullptr);
        if (callbacks != 0 && callbacks != 4)
            return CKR_ARGUMENTS_BAD;
        // Only the system's own locking is used.
        if (callbacks == 4 && !(given->flags & CKF_OS_LOCKING_OK))
            return CKR_CANT_LOCK;
        // CKF_LIBRARY_CANT_CREATE_OS_THREADS (GnuTLS asks for it) is
        // honoured as far as it matters: the one thread that a service call
        // starts is joined before the call returns, so no thread of the
        // module outlives a call or calls back into the program.
    }
    if (current())
        return CKR_CRYPTOKI_ALREADY_INITIALIZED;
    model::setAnswerPrinting(false);
    valmora::net::ProxyCredentialPrompt::install(std::make_shared<NoPrompt>());

    auto state = std::make_shared<State>();
    state->process = ::getpid();
    std::shared_ptr<State> previous = std::atomic_exchange(&state_, state);
    // The state of the parent of a forked child may hold a lock that no
    // thread of the child will ever release: it is left alone, not freed.
    if (previous && previous->process != ::getpid())
        new std::shared_ptr<State>(std::move(previous));
    return CKR_OK;
}

CK_RV Module::finalize(CK_VOID_PTR reserved)
{
    if (reserved)
        return CKR_ARGUMENTS_BAD;
    if (!current())
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    std::atomic_store(&state_, std::shared_ptr<State>());
    return CKR_OK;
}

CK_RV Module::getInfo(CK_INFO_PTR info)
{
    if (!current())
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (!info)
        return CKR_ARGUMENTS_BAD;
    std::memset(info, 0, sizeof *info);
    info->cryptokiVersion = {2, 40};
    padded(info->manufacturerID, sizeof info->manufacturerID, "Orvane");
    padded(info->libraryDescription, sizeof info->libraryDescription, "Orvane remote keys");
    info->libraryVersion = {2, 1};
    return CKR_OK;
}

std::shared_ptr<const TokenList> Module::tokensFor(State& state, CK_SLOT_ID slotId)
{
    if (!state.tokens || !state.tokens->find(slotId))
        state.tokens = directory_.current();
    return state.tokens;
}

CK_RV Module::getSlotList(CK_BBOOL, CK_SLOT_ID_PTR slots, CK_ULONG_PTR count)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (!count)
        return CKR_ARGUMENTS_BAD;
    const std::lock_guard<std::mutex> lock(state->mutex);
    // The size query reads the identity again, so that a phone paired or an
    // account added meanwhile shows; the list that follows gives the same
    // slots.
    if (!slots || !state->tokens)
        state->tokens = directory_.current();
    const auto& tokens = state->tokens->tokens;
    if (!slots) {
        *count = tokens.size();
        return CKR_OK;
    }
    if (*count < tokens.size()) {
        *count = tokens.size();
        return CKR_BUFFER_TOO_SMALL;
    }
    for (std::size_t i = 0; i < tokens.size(); ++i)
        slots[i] = tokens[i].slotId;
    *count = tokens.size();
    return CKR_OK;
}

CK_RV Module::getSlotInfo(CK_SLOT_ID slotId, CK_SLOT_INFO_PTR info)
{
    return onToken(slotId, [&](State&, const KeyGroupToken& token) {
        if (!info)
            return CKR_ARGUMENTS_BAD;
        std::memset(info, 0, sizeof *info);
        padded(info->slotDescription, sizeof info->slotDescription, token.name);
        padded(info->manufacturerID, sizeof info->manufacturerID, "Orvane");
        info->flags = CKF_TOKEN_PRESENT | CKF_REMOVABLE_DEVICE;
        info->hardwareVersion = {1, 0};
        info->firmwareVersion = {1, 0};
        return CKR_OK;
    });
}

CK_RV Module::getTokenInfo(CK_SLOT_ID slotId, CK_TOKEN_INFO_PTR info)
{
    return onToken(slotId, [&](State& state, const KeyGroupToken& token) {
        if (!info)
            return CKR_ARGUMENTS_BAD;
        std::memset(info, 0, sizeof *info);
        padded(info->label, sizeof info->label, token.name);
        padded(info->manufacturerID, sizeof info->manufacturerID, "Orvane");
        padded(info->model, sizeof info->model, token.phone ? "Kestrel phone" : "Harrier cloud");
        char serial[17];
        std::snprintf(serial, sizeof serial, "%016lx", static_cast<unsigned long>(slotId));
        padded(info->serialNumber, sizeof info->serialNumber, serial);
        info->flags = CKF_TOKEN_INITIALIZED | CKF_WRITE_PROTECTED
            | (token.phone ? CKF_PROTECTED_AUTHENTICATION_PATH : CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED);
        CK_ULONG sessions = 0;
        for (const auto& [handle, session] : state.sessions)
            if (session.slotId == slotId)
                ++sessions;
        info->ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
        info->ulSessionCount = sessions;
        info->ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
        info->ulRwSessionCount = 0;
        info->ulMaxPinLen = 256;
        info->ulMinPinLen = token.phone ? 0 : 1;
        info->ulTotalPublicMemory = CK_UNAVAILABLE_INFORMATION;
        info->ulFreePublicMemory = CK_UNAVAILABLE_INFORMATION;
        info->ulTotalPrivateMemory = CK_UNAVAILABLE_INFORMATION;
        info->ulFreePrivateMemory = CK_UNAVAILABLE_INFORMATION;
        info->hardwareVersion = {1, 0};
        info->firmwareVersion = {1, 0};
        std::memset(info->utcTime, ' ', sizeof info->utcTime);
        return CKR_OK;
    });
}

CK_RV Module::getMechanismList(CK_SLOT_ID slotId, CK_MECHANISM_TYPE_PTR mechanisms, CK_ULONG_PTR count)
{
    return onToken(slotId, [&](State&, const KeyGroupToken&) {
        if (!count)
            return CKR_ARGUMENTS_BAD;
        const CK_ULONG available = sizeof kMechanisms / sizeof kMechanisms[0];
        if (mechanisms && *count < available) {
            *count = available;
            return CKR_BUFFER_TOO_SMALL;
        }
        if (mechanisms)
            std::copy(std::begin(kMechanisms), std::end(kMechanisms), mechanisms);
        *count = available;
        return CKR_OK;
    });
}

CK_RV Module::getMechanismInfo(CK_SLOT_ID slotId, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info)
{
    return onToken(slotId, [&](State&, const KeyGroupToken&) {
        if (!info)
            return CKR_ARGUMENTS_BAD;
        if (!hashNameOf(type))
            return CKR_MECHANISM_INVALID;
        info->ulMinKeySize = 1024;
        info->ulMaxKeySize = 16384;
        info->flags = CKF_SIGN;
        return CKR_OK;
    });
}

CK_RV Module::openSession(CK_SLOT_ID slotId, CK_FLAGS flags, CK_SESSION_HANDLE_PTR session)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (!session)
        return CKR_ARGUMENTS_BAD;
    if (!(flags & CKF_SERIAL_SESSION))
        return CKR_SESSION_PARALLEL_NOT_SUPPORTED;
    const std::lock_guard<std::mutex> lock(state->mutex);
    if (!tokensFor(*state, slotId)->find(slotId))
        return CKR_SLOT_ID_INVALID;
    const CK_SESSION_HANDLE handle = state->nextSession++;
    Session opened;
    opened.slotId = slotId;
    opened.flags = flags;
    state->sessions.emplace(handle, std::move(opened));
    *session = handle;
    return CKR_OK;
}

CK_RV Module::closeSession(CK_SESSION_HANDLE session)
{
    return inSession(session, [&](State& state, Session& closing) {
        const CK_SLOT_ID slotId = closing.slotId;
        state.sessions.erase(session);
        // The login of a token ends with its last session.
        if (std::none_of(state.sessions.begin(), state.sessions.end(),
                         [&](const auto& item) { return item.second.slotId == slotId; }))
            state.logins.erase(slotId);
        return CKR_OK;
    });
}

CK_RV Module::closeAllSessions(CK_SLOT_ID slotId)
{
    return onToken(slotId, [&](State& state, const KeyGroupToken&) {
        for (auto it = state.sessions.begin(); it != state.sessions.end();)
            it = it->second.slotId == slotId ? state.sessions.erase(it) : std::next(it);
        state.logins.erase(slotId);
        return CKR_OK;
    });
}

CK_RV Module::getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info)
{
    return inSession(session, [&](State& state, Session& current) {
        if (!info)
            return CKR_ARGUMENTS_BAD;
        const bool readWrite = current.flags & CKF_RW_SESSION;
        const bool loggedIn = state.logins.count(current.slotId) != 0;
        info->slotID = current.slotId;
        info->flags = current.flags;
        info->ulDeviceError = 0;
        info->state = loggedIn ? (readWrite ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS)
                               : (readWrite ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION);
        return CKR_OK;
    });
}

CK_RV Module::login(CK_SESSION_HANDLE session, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pin, CK_ULONG pinLength)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    KeyGroupToken token;
    std::wstring computerKeyName;
    {
        const std::lock_guard<std::mutex> lock(state->mutex);
        const auto found = state->sessions.find(session);
        if (found == state->sessions.end())
            return CKR_SESSION_HANDLE_INVALID;
        if (userType != CKU_USER)
            return CKR_USER_TYPE_INVALID;
        if (state->logins.count(found->second.slotId))
            return CKR_USER_ALREADY_LOGGED_IN;
        const auto tokens = tokensFor(*state, found->second.slotId);
        const KeyGroupToken* listed = tokens->find(found->second.slotId);
        if (!listed)
            return CKR_DEVICE_REMOVED;
        // A phone approves each signature itself: there is nothing to log in
        // to, and the call succeeds so that programs that always log in work.
        if (listed->phone) {
            state->logins[listed->slotId];
            return CKR_OK;
        }
        token = *listed;
        computerKeyName = tokens->computerKeyName;
    }
    if (!pin)
        return CKR_ARGUMENTS_BAD;
    const std::optional<LoginText> text =
        LoginText::parse(std::string(reinterpret_cast<const char*>(pin), pinLength), token.authorizationMode);
    if (!text)
        return CKR_PIN_INVALID;

    // A session is opened on each key of the wallet; keys whose PIN differs
    // stay closed.
    const RemoteSigner signer(token.code, computerKeyName);
    Login opened;
    CK_RV failure = token.keys.empty() ? CKR_OK : CKR_PIN_INCORRECT;
    for (const RemoteKey& key : token.keys) {
        std::wstring sessionToken;
        const CK_RV rv = signer.openCloudSession(key.keyName, *text, program_invocation_short_name, sessionToken);
        if (rv == CKR_OK)
            opened.sessionTokens[key.keyName] = sessionToken;
        else if (rv != CKR_PIN_INCORRECT)
            failure = rv;
    }
    if (opened.sessionTokens.empty() && failure != CKR_OK)
        return failure;
    const std::lock_guard<std::mutex> lock(state->mutex);
    state->logins[token.slotId] = std::move(opened);
    return CKR_OK;
}

CK_RV Module::logout(CK_SESSION_HANDLE session)
{
    return inSession(session, [&](State& state, Session& current) {
        return state.logins.erase(current.slotId) ? CKR_OK : CKR_USER_NOT_LOGGED_IN;
    });
}

CK_RV Module::getAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                CK_ULONG count)
{
    return inSession(session, [&](State& state, Session& current) {
        if (!attributes && count)
            return CKR_ARGUMENTS_BAD;
        const auto kind = CertificateObjects::kindOf(object);
        const auto known = state.objects.find(CertificateObjects::baseOf(object));
        if (!kind || known == state.objects.end() || known->second->slotId() != current.slotId
            || !known->second->visible(*kind, state.logins.count(current.slotId) != 0))
            return CKR_OBJECT_HANDLE_INVALID;
        const CertificateObjects& objects = *known->second;
        CK_RV rv = CKR_OK;
        for (CK_ULONG i = 0; i < count; ++i) {
            CK_ATTRIBUTE& attribute = attributes[i];
            const CertificateObjects::Value value = objects.attribute(*kind, attribute.type);
            if (value.state != CertificateObjects::Value::State::Present) {
                attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
                rv = value.state == CertificateObjects::Value::State::Sensitive ? CKR_ATTRIBUTE_SENSITIVE
                                                                                : CKR_ATTRIBUTE_TYPE_INVALID;
            } else if (!attribute.pValue) {
                attribute.ulValueLen = value.bytes.size();
            } else if (attribute.ulValueLen < value.bytes.size()) {
                attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
                rv = CKR_BUFFER_TOO_SMALL;
            } else {
                std::copy(value.bytes.begin(), value.bytes.end(), static_cast<unsigned char*>(attribute.pValue));
                attribute.ulValueLen = value.bytes.size();
            }
        }
        return rv;
    });
}

void Module::refreshObjects(State& state, const std::shared_ptr<const TokenList>& tokens)
{
    const std::lock_guard<std::mutex> lock(objectsMutex_);
    // Objects are made again only for what changed: an entry's file or the
    // identity.
    if (objectsTokens_ != tokens) {
        objectsByEntry_.clear();
        objectsTokens_ = tokens;
    }
    std::unordered_map<const EntryCache::Decoded*, std::shared_ptr<const CertificateObjects>> kept;
    std::vector<std::pair<CK_ULONG, std::shared_ptr<const CertificateObjects>>> made;
    entries_.forEachLinked([&](const std::shared_ptr<const EntryCache::Decoded>& decoded) {
        std::shared_ptr<const CertificateObjects> objects;
        const auto earlier = objectsByEntry_.find(decoded.get());
        if (earlier != objectsByEntry_.end()) {
            objects = earlier->second;
        } else {
            const valmora::signer::StoreEntry& entry = decoded->entry;
            // The key of the identity under the entry's container name, the
            // one of the same certificate first.
            const auto [first, last] = tokens->keysByName.equal_range(entry.provider->containerName);
            const KeyGroupToken* token = nullptr;
            const RemoteKey* key = nullptr;
            for (auto it = first; it != last; ++it) {
                const RemoteKey& candidate = tokens->tokens[it->second.first].keys[it->second.second];
                if (!key || candidate.fingerprint == entry.certificate.fingerprint()) {
                    token = &tokens->tokens[it->second.first];
                    key = &candidate;
                }
            }
            if (!key || decoded->modulus.empty())
                return;
            objects = std::make_shared<const CertificateObjects>(decoded, token->slotId, key->keyName,
                                                                 Bytes(key->keyId.begin(), key->keyId.end()),
                                                                 labelOf(entry, *key), !token->phone);
        }
        kept[decoded.get()] = objects;
        const std::string& fingerprint = decoded->entry.certificate.fingerprint();
        auto base = bases_.find(fingerprint);
        if (base == bases_.end())
            base = bases_.emplace(fingerprint, nextBase_++).first;
        made.emplace_back(base->second, std::move(objects));
    });
    objectsByEntry_ = std::move(kept);
    state.objects.clear();
    for (auto& [base, objects] : made)
        state.objects.emplace(base, std::move(objects));
}

CK_RV Module::findObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR pattern, CK_ULONG count)
{
    return inSession(session, [&](State& state, Session& current) {
        if (!pattern && count)
            return CKR_ARGUMENTS_BAD;
        if (current.finding)
            return CKR_OPERATION_ACTIVE;
        // Each search reads the identity and "MY" again, so that what the
        // agent published meanwhile is found.
        state.tokens = directory_.current();
        refreshObjects(state, state.tokens);
        const bool loggedIn = state.logins.count(current.slotId) != 0;
        current.found.clear();
        current.position = 0;
        for (const auto& [base, objects] : state.objects) {
            if (objects->slotId() != current.slotId)
                continue;
            for (auto kind : {CertificateObjects::CertificateKind, CertificateObjects::PrivateKeyKind,
                              CertificateObjects::PublicKeyKind})
                if (objects->visible(kind, loggedIn) && objects->matches(kind, pattern, count))
                    current.found.push_back(CertificateObjects::handle(base, kind));
        }
        current.finding = true;
        return CKR_OK;
    });
}

CK_RV Module::findObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maximum,
                          CK_ULONG_PTR count)
{
    return inSession(session, [&](State&, Session& current) {
        if (!count || (!objects && maximum))
            return CKR_ARGUMENTS_BAD;
        if (!current.finding)
            return CKR_OPERATION_NOT_INITIALIZED;
        CK_ULONG given = 0;
        while (given < maximum && current.position < current.found.size())
            objects[given++] = current.found[current.position++];
        *count = given;
        return CKR_OK;
    });
}

CK_RV Module::findObjectsFinal(CK_SESSION_HANDLE session)
{
    return inSession(session, [&](State&, Session& current) {
        if (!current.finding)
            return CKR_OPERATION_NOT_INITIALIZED;
        current.finding = false;
        current.found.clear();
        return CKR_OK;
    });
}

CK_RV Module::signInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key)
{
    return inSession(session, [&](State& state, Session& current) {
        if (!mechanism)
            return CKR_ARGUMENTS_BAD;
        if (current.signing)
            return CKR_OPERATION_ACTIVE;
        const std::optional<std::string> hashName = hashNameOf(mechanism->mechanism);
        if (!hashName)
            return CKR_MECHANISM_INVALID;
        if (mechanism->pParameter || mechanism->ulParameterLen)
            return CKR_MECHANISM_PARAM_INVALID;
        const auto known = state.objects.find(CertificateObjects::baseOf(key));
        const bool loggedIn = state.logins.count(current.slotId) != 0;
        if (CertificateObjects::kindOf(key) != CertificateObjects::PrivateKeyKind || known == state.objects.end()
            || known->second->slotId() != current.slotId)
            return CKR_KEY_HANDLE_INVALID;
        if (!known->second->visible(CertificateObjects::PrivateKeyKind, loggedIn))
            return CKR_USER_NOT_LOGGED_IN;

        SignOperation operation;
        operation.mechanism = mechanism->mechanism;
        operation.key = known->second;
        operation.hashName = *hashName;
        if (!hashName->empty()) {
            operation.hashing.reset(EVP_MD_CTX_new(), EVP_MD_CTX_free);
            if (!operation.hashing
                || EVP_DigestInit_ex(operation.hashing.get(), EVP_get_digestbyname(hashName->c_str()), nullptr) != 1)
                return CKR_HOST_MEMORY;
        }
        current.signing = std::move(operation);
        return CKR_OK;
    });
}

CK_RV Module::signDigest(const std::shared_ptr<State>& state, const Session& session,
                         const SignOperation& operation, const DigestInfo& digest, Bytes& signature)
{
    std::shared_ptr<const TokenList> tokens;
    std::wstring sessionToken;
    {
        const std::lock_guard<std::mutex> lock(state->mutex);
        tokens = tokensFor(*state, session.slotId);
        const auto login = state->logins.find(session.slotId);
        if (login != state->logins.end()) {
            const auto opened = login->second.sessionTokens.find(operation.key->keyName());
            if (opened != login->second.sessionTokens.end())
                sessionToken = opened->second;
        }
    }
    const KeyGroupToken* token = tokens->find(session.slotId);
    if (!token)
        return CKR_DEVICE_REMOVED;
    const RemoteSigner signer(token->code, tokens->computerKeyName);
    if (token->phone)
        return signer.signOnPhone(operation.key->keyName(), operation.key->certificate(), digest, signature);
    if (sessionToken.empty())
        return CKR_USER_NOT_LOGGED_IN;
    return signer.signInCloud(operation.key->keyName(), sessionToken, operation.key->certificate(), digest,
                              signature);
}

CK_RV Module::finishSignature(const std::shared_ptr<State>& state, CK_SESSION_HANDLE handle, const CK_BYTE* data,
                              CK_ULONG dataLength, bool fromUpdates, CK_BYTE_PTR signature,
                              CK_ULONG_PTR signatureLength)
{
    if (!signatureLength)
        return CKR_ARGUMENTS_BAD;
    Session session;
    SignOperation operation;
    {
        const std::lock_guard<std::mutex> lock(state->mutex);
        const auto found = state->sessions.find(handle);
        if (found == state->sessions.end())
            return CKR_SESSION_HANDLE_INVALID;
        if (!found->second.signing)
            return CKR_OPERATION_NOT_INITIALIZED;
        const CK_ULONG length = found->second.signing->key->modulusLength();
        // The length query and a short buffer leave the operation as it is.
        if (!signature) {
            *signatureLength = length;
            return CKR_OK;
        }
        if (*signatureLength < length) {
            *signatureLength = length;
            return CKR_BUFFER_TOO_SMALL;
        }
        operation = std::move(*found->second.signing);
        found->second.signing.reset();
        session = found->second;
    }

    DigestInfo digest;
    if (operation.hashName.empty()) {
        if (fromUpdates)
            return CKR_FUNCTION_NOT_SUPPORTED;
        const std::optional<DigestInfo> given = DigestInfo::parse(data, dataLength);
        if (!given)
            return CKR_DATA_INVALID;
        digest = *given;
    } else {
        digest.hashName = operation.hashName;
        if (!fromUpdates && EVP_DigestUpdate(operation.hashing.get(), data, dataLength) != 1)
            return CKR_FUNCTION_FAILED;
        unsigned char hash[EVP_MAX_MD_SIZE];
        unsigned int hashLength = 0;
        if (EVP_DigestFinal_ex(operation.hashing.get(), hash, &hashLength) != 1)
            return CKR_FUNCTION_FAILED;
        digest.hash.assign(hash, hash + hashLength);
    }
    Bytes made;
    const CK_RV rv = signDigest(state, session, operation, digest, made);
    if (rv != CKR_OK)
        return rv;
    std::copy(made.begin(), made.end(), signature);
    *signatureLength = made.size();
    return CKR_OK;
}

CK_RV Module::sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLength, CK_BYTE_PTR signature,
                   CK_ULONG_PTR signatureLength)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (!data && dataLength)
        return CKR_ARGUMENTS_BAD;
    {
        const std::lock_guard<std::mutex> lock(state->mutex);
        const auto found = state->sessions.find(session);
        if (found != state->sessions.end() && found->second.signing && found->second.signing->updated) {
            found->second.signing.reset();
            return CKR_OPERATION_ACTIVE;
        }
    }
    return finishSignature(state, session, data, dataLength, false, signature, signatureLength);
}

CK_RV Module::signUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLength)
{
    return inSession(session, [&](State&, Session& current) {
        std::optional<SignOperation>& operation = current.signing;
        if (!part && partLength)
            return CKR_ARGUMENTS_BAD;
        if (!operation)
            return CKR_OPERATION_NOT_INITIALIZED;
        // CKM_RSA_PKCS signs one DigestInfo, in one part.
        if (operation->hashName.empty()) {
            operation.reset();
            return CKR_FUNCTION_NOT_SUPPORTED;
        }
        if (EVP_DigestUpdate(operation->hashing.get(), part, partLength) != 1) {
            operation.reset();
            return CKR_FUNCTION_FAILED;
        }
        operation->updated = true;
        return CKR_OK;
    });
}

CK_RV Module::signFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG_PTR signatureLength)
{
    const std::shared_ptr<State> state = current();
    if (!state)
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    return finishSignature(state, session, nullptr, 0, true, signature, signatureLength);
}

} // namespace orvane::provider
