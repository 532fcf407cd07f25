#include "provider/signing/RemoteSigner.h"

#include "config/TextCodec.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/harrier/PasswordAndOtpAuthentication.h"
#include "model/harrier/SessionTokenAuthentication.h"
#include "model/identity/BaseException.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "signer/KeyStore.h"
#include "signer/OpenSslPtr.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <functional>
#include <memory>

namespace orvane::provider {

namespace {

using valmora::signer::Bytes;

// Room for any signature a service may send: a longer one would end the
// calling program, so the buffer is far larger than any RSA key's.
constexpr std::size_t kSignatureRoom = 16384;

bool endsWith(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

CK_RV returnValueOfMessage(const std::string& message)
{
    // Offline shows as HTTP status 0 at the phone service and as its own
    // text at the cloud store.
    if (message == "Servidor está offline" || endsWith(message, "Erro HTTP 0"))
        return CKR_DEVICE_ERROR;
    if (message == "Tempo esgotado")
        return CKR_FUNCTION_CANCELED;
    return CKR_FUNCTION_FAILED;
}

// Runs a strategy call and maps what it throws.
CK_RV guarded(const std::function<void()>& call)
{
    try {
        call();
        return CKR_OK;
    } catch (model::BaseException* thrown) {
        const std::unique_ptr<model::BaseException> owned(thrown);
        return returnValueOfMessage(owned->message());
    } catch (const model::BaseException& error) {
        return returnValueOfMessage(error.message());
    } catch (const valmora::signer::KeyStoreError&) {
        return CKR_GENERAL_ERROR;
    } catch (const std::exception&) {
        return CKR_FUNCTION_FAILED;
    } catch (...) {
        return CKR_GENERAL_ERROR;
    }
}

} // namespace

RemoteSigner::RemoteSigner(std::wstring code, std::wstring computerKeyName)
    : code_(std::move(code))
    , computerKeyName_(std::move(computerKeyName))
{
}

bool RemoteSigner::verifies(const valmora::signer::Certificate& certificate, const DigestInfo& digest,
                            const Bytes& signature)
{
    EVP_PKEY* key = X509_get0_pubkey(certificate.handle());
    if (!key)
        return false;
    const valmora::signer::EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(key, nullptr));
    const Bytes expected = digest.encode();
    return context && EVP_PKEY_verify_init(context.get()) == 1
        && EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1
        && EVP_PKEY_verify(context.get(), signature.data(), signature.size(), expected.data(), expected.size()) == 1;
}

CK_RV RemoteSigner::signOnPhone(const std::wstring& keyName, const valmora::signer::Certificate& certificate,
                                const DigestInfo& digest, Bytes& signature) const
{
    Bytes room(kSignatureRoom, 0);
    const CK_RV rv = guarded([&] {
        model::UserAuthentication authentication(code_, computerKeyName_);
        model::KestrelSignatureStrategy::instance().sign(keyName, L"", model::fromUtf8(digest.hashName),
                                                         digest.hash.data(), digest.hash.size(), room.data(),
                                                         room.size(), &authentication);
    });
    if (rv != CKR_OK)
        return rv;
    // An answered request that left the buffer as it was is a refusal.
    if (std::all_of(room.begin(), room.end(), [](unsigned char b) { return b == 0; }))
        return CKR_FUNCTION_REJECTED;
    const std::size_t length = static_cast<std::size_t>(EVP_PKEY_get_size(X509_get0_pubkey(certificate.handle())));
    signature.assign(room.begin(), room.begin() + static_cast<std::ptrdiff_t>(std::min(length, room.size())));
    return verifies(certificate, digest, signature) ? CKR_OK : CKR_FUNCTION_FAILED;
}

CK_RV RemoteSigner::openCloudSession(const std::wstring& keyName, const LoginText& login,
                                     const std::string& programName, std::wstring& sessionToken) const
{
    model::SessionOpening opening;
    const CK_RV rv = guarded([&] {
        model::PasswordAndOtpAuthentication authentication(code_, computerKeyName_);
        authentication.pin = model::fromUtf8(login.pin);
        authentication.otp = model::fromUtf8(login.otp);
        authentication.push = login.push;
        authentication.applicationName = model::fromUtf8(programName);
        opening = model::HarrierSignatureStrategy::instance().openSession(keyName, &authentication);
    });
    if (rv != CKR_OK)
        return rv;
    if (opening.status == 1)
        return CKR_DEVICE_ERROR;
    if (opening.token.empty())
        return opening.message.rfind("Abertura de sessão não realizada. Erro HTTP(", 0) == 0 ? CKR_FUNCTION_FAILED
                                                                                            : CKR_PIN_INCORRECT;
    sessionToken = opening.token;
    return CKR_OK;
}

CK_RV RemoteSigner::signInCloud(const std::wstring& keyName, const std::wstring& sessionToken,
                                const valmora::signer::Certificate& certificate, const DigestInfo& digest,
                                Bytes& signature) const
{
    Bytes room(kSignatureRoom, 0);
    const CK_RV rv = guarded([&] {
        model::SessionTokenAuthentication authentication(code_, computerKeyName_);
        authentication.sessionToken = sessionToken;
        model::HarrierSignatureStrategy::instance().sign(keyName, L"", model::fromUtf8(digest.hashName),
                                                         digest.hash.data(), digest.hash.size(), room.data(),
                                                         room.size(), &authentication);
    });
    if (rv != CKR_OK)
        return rv;
    const std::size_t length = static_cast<std::size_t>(EVP_PKEY_get_size(X509_get0_pubkey(certificate.handle())));
    signature.assign(room.begin(), room.begin() + static_cast<std::ptrdiff_t>(std::min(length, room.size())));
    return verifies(certificate, digest, signature) ? CKR_OK : CKR_FUNCTION_FAILED;
}

} // namespace orvane::provider
