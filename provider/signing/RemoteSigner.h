#pragma once

#include "provider/signing/DigestInfo.h"
#include "provider/signing/LoginText.h"
#include "signer/Certificate.h"

#include <p11-kit/pkcs11.h>

#include <string>

namespace orvane::provider {

// Signs through the two services' signature strategies and turns each way
// of failing into the PKCS#11 return value that a calling program can act
// on (docs/pkcs11-module.md lists them):
//
//   CKR_FUNCTION_REJECTED   the person refused on the phone
//   CKR_FUNCTION_CANCELED   the phone gave no answer in time
//   CKR_DEVICE_ERROR        the service could not be reached
//   CKR_PIN_INCORRECT       the cloud store refused the PIN or the code
//   CKR_FUNCTION_FAILED     the service refused otherwise, or its
//                           signature does not verify with the certificate
//   CKR_GENERAL_ERROR       this computer's own key could not sign the call
//
// Every call blocks its thread for the whole exchange; none touches the
// module's state.
class RemoteSigner {
public:
    // Who signs: this computer's code at the service and the name of this
    // computer's own key, which signs the service calls.
    RemoteSigner(std::wstring code, std::wstring computerKeyName);

    // Pushes the hash to the phone and waits for the approval (at most as
    // long as the phone strategy waits). `signature` receives the signature,
    // checked against `certificate`.
    CK_RV signOnPhone(const std::wstring& keyName, const valmora::signer::Certificate& certificate,
                      const DigestInfo& digest, valmora::signer::Bytes& signature) const;

    // Opens a session on a cloud key; `sessionToken` receives its token.
    CK_RV openCloudSession(const std::wstring& keyName, const LoginText& login, const std::string& programName,
                           std::wstring& sessionToken) const;
    // Signs under an open session.
    CK_RV signInCloud(const std::wstring& keyName, const std::wstring& sessionToken,
                      const valmora::signer::Certificate& certificate, const DigestInfo& digest,
                      valmora::signer::Bytes& signature) const;

    // The signature if it is one of this DigestInfo by the certificate's key.
    static bool verifies(const valmora::signer::Certificate& certificate, const DigestInfo& digest,
                         const valmora::signer::Bytes& signature);

private:
    std::wstring code_;
    std::wstring computerKeyName_;
};

} // namespace orvane::provider
