#include "app/ctl/SignCommand.h"

#include "app/ctl/CommandTable.h"
#include "app/ctl/ServiceCommandSupport.h"
#include "model/identity/BaseException.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/keys/KeyGroup.h"
#include "model/keys/KeyReference.h"
#include "model/harrier/PasswordAndOtpAuthentication.h"
#include "model/harrier/SessionTokenAuthentication.h"
#include "signer/Encoding.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>

namespace orvane::ctl {

namespace {

using valmora::signer::Bytes;

bool parseHex(const std::string& text, Bytes& bytes)
{
    if (text.empty() || text.size() % 2 != 0)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        if (!std::isxdigit(static_cast<unsigned char>(text[i])) || !std::isxdigit(static_cast<unsigned char>(text[i + 1])))
            return false;
        bytes.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return true;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

model::KeyReference* findKey(model::Orvane& identity, const std::string& name)
{
    const std::string asFingerprint = valmora::signer::normalizeFingerprint(lower(name));
    for (model::KeyReference* reference : identity.certificates()) {
        if (narrow(reference->keyName) == name || model::KeyReference::keyIdText(reference->keyId) == lower(name))
            return reference;
        if (reference->certificate && reference->certificate->fingerprint() == asFingerprint)
            return reference;
    }
    return nullptr;
}

// The exit status of a failure text of the strategies.
int failureStatus(const std::string& text)
{
    const std::string offlineEnding = "Erro HTTP 0";
    if (text == "Servidor está offline"
        || (text.size() >= offlineEnding.size()
            && text.compare(text.size() - offlineEnding.size(), offlineEnding.size(), offlineEnding) == 0))
        return exitOffline;
    return exitRefused;
}

} // namespace

int signDigest(const std::vector<std::string>& arguments, std::istream& in, std::ostream& out, std::ostream& err,
               model::Clock& clock)
{
    const std::string usage =
        "orvanectl: usage: sign KEY (--digest HEX | --file PATH) [--algorithm NAME] [--out FILE]\n";
    if (arguments.empty()) {
        err << usage;
        return exitUsage;
    }
    std::string digestHex, file, algorithm = "SHA256", outFile;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& option = arguments[i];
        if (i + 1 >= arguments.size()) {
            err << usage;
            return exitUsage;
        }
        const std::string& value = arguments[++i];
        if (option == "--digest")
            digestHex = value;
        else if (option == "--file")
            file = value;
        else if (option == "--algorithm")
            algorithm = value;
        else if (option == "--out")
            outFile = value;
        else {
            err << usage;
            return exitUsage;
        }
    }
    Bytes digest;
    if (digestHex.empty() == file.empty()) {
        err << usage;
        return exitUsage;
    }
    if (!digestHex.empty() && !parseHex(digestHex, digest)) {
        err << "orvanectl: the digest must be hexadecimal pairs\n";
        return exitUsage;
    }
    if (!file.empty()) {
        std::ifstream stream(file, std::ios::binary);
        if (!stream) {
            err << "orvanectl: cannot read " << file << "\n";
            return exitFailure;
        }
        const Bytes content((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        digest = valmora::signer::digest(content, algorithm);
    }

    AnswersToStandardError guard(out);
    std::unique_ptr<model::Orvane> identity = loadInstalledIdentity(err);
    if (!identity)
        return exitFailure;
    model::KeyReference* key = findKey(*identity, arguments[0]);
    if (!key || !key->certificate || !key->strategy || !key->group) {
        err << "orvanectl: no key of this computer is called " << arguments[0] << "\n";
        return exitFailure;
    }
    Bytes signature(key->certificate->publicKey().modulus.size(), 0);

    try {
        if (key->strategy->strategyKind() == model::SignatureStrategy::Kestrel) {
            model::UserAuthentication authentication(key->group->installationCode(), identity->privateKeyReference);
            err << "waiting for approval on the phone \"" << narrow(key->group->name()) << "\" (up to a minute)"
                << std::endl;
            // The same strategy as the key's own, on the command's clock.
            model::KestrelSignatureStrategy strategy(clock);
            strategy.sign(key->keyName, L"", wide(algorithm), digest.data(), digest.size(), signature.data(),
                          signature.size(), &authentication);
            if (std::all_of(signature.begin(), signature.end(), [](unsigned char b) { return b == 0; }))
                return report(err, 0, "the phone refused to sign");
        } else {
            err << "PIN and one-time code, one a line:" << std::endl;
            model::PasswordAndOtpAuthentication opening(key->group->installationCode(),
                                                        identity->privateKeyReference);
            opening.pin = wide(readSecretLine(in));
            opening.otp = wide(readSecretLine(in));
            opening.applicationName = L"orvanectl";
            const model::SessionOpening session = key->strategy->openSession(key->keyName, &opening);
            if (exitStatusOf(session.status, session.message) != exitSuccess)
                return report(err, session.status, session.message);
            model::SessionTokenAuthentication signing(opening.code, opening.keyName);
            signing.sessionToken = session.token;
            key->strategy->sign(key->keyName, L"", wide(algorithm), digest.data(), digest.size(), signature.data(),
                                signature.size(), &signing);
        }
    } catch (model::BaseException* thrown) {
        const std::unique_ptr<model::BaseException> owned(thrown);
        err << "orvanectl: " << owned->what() << "\n";
        return std::string(owned->what()) == "Tempo esgotado" ? exitRefused : exitFailure;
    } catch (const model::BaseException& error) {
        err << "orvanectl: " << error.what() << "\n";
        return failureStatus(error.what());
    }

    if (!outFile.empty()) {
        std::ofstream stream(outFile, std::ios::binary | std::ios::trunc);
        stream.write(reinterpret_cast<const char*>(signature.data()), static_cast<std::streamsize>(signature.size()));
        if (!stream) {
            err << "orvanectl: cannot write " << outFile << "\n";
            return exitFailure;
        }
        guard.out() << "signature written to " << outFile << "\n";
    } else {
        guard.out() << valmora::signer::base64Encode(Bytes(signature)) << "\n";
    }
    return exitSuccess;
}

} // namespace orvane::ctl
