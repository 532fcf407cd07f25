// Signatures with keys that never reach this computer: a phone's key
// through Kestrel and a cloud key through Harrier, each checked with the
// openssl tool against the key's certificate.

#include "tests/mock/ProtocolSupport.h"

#include "model/identity/BaseException.h"
#include "model/keys/Device.h"
#include "model/harrier/HarrierCalls.h"
#include "model/harrier/HarrierSignatureStrategy.h"
#include "model/kestrel/KestrelListing.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "model/harrier/PasswordAndOtpAuthentication.h"
#include "model/harrier/SessionTokenAuthentication.h"
#include "config/TextCodec.h"
#include "signer/Encoding.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"

#include <fstream>

using namespace orvane::model;
using orvane::test::drop;
using orvane::test::FakeClock;
using orvane::test::fault;
using orvane::test::ProtocolTest;
using orvane::test::sandbox;
using valmora::signer::Bytes;

namespace {

const UserCredentials kAna{L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"};

Bytes sha256(const std::string& text)
{
    return valmora::signer::digest(Bytes(text.begin(), text.end()), "SHA256");
}

void writeBytes(const std::string& path, const Bytes& bytes)
{
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
}

// Whether openssl finds `signature` to be the PKCS#1 v1.5 signature of the
// SHA-256 `digest` by the key of `certificate`.
bool opensslVerifies(const valmora::signer::Certificate& certificate, const Bytes& digest, const Bytes& signature)
{
    orvane::test::TempDir dir;
    orvane::test::writeFile(dir.file("cert.pem"), certificate.toPem());
    writeBytes(dir.file("digest.bin"), digest);
    writeBytes(dir.file("signature.bin"), signature);
    const orvane::test::ProcessResult result = orvane::test::runProcess(
        {"/usr/bin/openssl", "pkeyutl", "-verify", "-certin", "-inkey", dir.file("cert.pem"), "-in",
         dir.file("digest.bin"), "-sigfile", dir.file("signature.bin"), "-pkeyopt", "digest:sha256"});
    return result.exitCode == 0 && result.out.find("Signature Verified Successfully") != std::string::npos;
}

// Runs `action`, which must throw a BaseException by pointer, and gives its
// text; the thrown object is owned and freed here.
template <typename Action>
std::string thrownByPointer(Action action)
{
    try {
        action();
    } catch (BaseException* thrown) {
        const std::unique_ptr<BaseException> owned(thrown);
        return owned->what();
    }
    return "(nothing thrown by pointer)";
}

// The text of the BaseException `action` throws by value.
template <typename Action>
std::string thrownText(Action action)
{
    try {
        action();
    } catch (const BaseException& error) {
        return error.what();
    }
    return "(nothing thrown)";
}

class KestrelSigning : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        phone = sandbox().deviceCodesOf("ana").at(0);
        pair(*identity, phone);
        ASSERT_EQ(listCertificates(identity->kestrelInstallations[0]).changed, CertificateListResult::NewList);
        key = &identity->kestrelInstallations[0].devices.devices.at(0)->keyReferences.at(0);
        authentication = UserAuthentication(identity->kestrelInstallations[0].installationCode,
                                            identity->privateKeyReference);
        signature.assign(key->certificate->publicKey().modulus.size(), 0);
    }

    void answerAt(FakeClock& clock, std::size_t sleep, bool approve)
    {
        clock.onSleep = [this, sleep, approve](std::size_t sleeps) {
            if (sleeps != sleep)
                return;
            for (const Json::Value& request : pending("S", phone))
                approve ? sandbox().approve(request["id"].asString()) : sandbox().deny(request["id"].asString());
        };
    }

    void sign(KestrelSignatureStrategy& strategy, const Bytes& digest, UserAuthentication* auth)
    {
        strategy.sign(key->keyName, L"", L"SHA256", digest.data(), digest.size(), signature.data(),
                      signature.size(), auth);
    }

    std::unique_ptr<Orvane> identity;
    std::string phone;
    KeyReference* key = nullptr;
    UserAuthentication authentication;
    Bytes signature;
};

class HarrierSigning : public ProtocolTest {
protected:
    void SetUp() override
    {
        ProtocolTest::SetUp();
        identity = enrol();
        ASSERT_TRUE(identity->addHarrierAccount(kAna).succeeded());
        account = identity->harrierInstallations().at(0);
        ASSERT_EQ(listWallet(*account).changed, CertificateListResult::NewList);
        key = &account->wallet->keyReferences.at(0);
        opening = PasswordAndOtpAuthentication(account->desktopCode, identity->privateKeyReference);
        opening.pin = L"1234";
        opening.otp = L"246810";
        opening.applicationName = L"Orvane testes";
        signature.assign(key->certificate->publicKey().modulus.size(), 0);
    }

    std::unique_ptr<Orvane> identity;
    HarrierInstallation* account = nullptr;
    KeyReference* key = nullptr;
    PasswordAndOtpAuthentication opening;
    Bytes signature;
};

} // namespace

TEST_F(KestrelSigning, PhoneApprovesAndSignatureVerifies)
{
    ASSERT_EQ(key->strategy, &KestrelSignatureStrategy::instance());
    ASSERT_EQ(key->strategy->strategyKind(), SignatureStrategy::Kestrel);
    FakeClock clock;
    answerAt(clock, 2, true);
    KestrelSignatureStrategy strategy(clock);
    const Bytes digest = sha256("contrato de locação, versão final");
    sign(strategy, digest, &authentication);
    EXPECT_EQ(clock.sleeps(), (std::vector<int>{6, 5}));
    EXPECT_TRUE(opensslVerifies(*key->certificate, digest, signature));
    EXPECT_FALSE(opensslVerifies(*key->certificate, sha256("outro texto"), signature));

    // The request the phone saw carried the key's name and the digest.
    const auto used = sandbox().requests("used", "S", phone);
    const auto approved = sandbox().requests("approved", "S", phone);
    const auto& seen = used.empty() ? approved : used;
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back()["keyName"].asString(), toUtf8(key->keyName));
}

TEST_F(KestrelSigning, PhoneThatNeverAnswersTimesOutAndLateApprovalToo)
{
    FakeClock silent;
    KestrelSignatureStrategy strategy(silent);
    const Bytes digest = sha256("sem resposta");
    EXPECT_EQ(thrownByPointer([&] { sign(strategy, digest, &authentication); }), "Tempo esgotado");
    std::vector<int> expected{6, 5, 4, 3, 2};
    while (expected.size() < 5 + 41)
        expected.push_back(1);
    EXPECT_EQ(silent.sleeps(), expected);

    // Approved during the last wait: the limit is checked first.
    FakeClock late;
    answerAt(late, 46, true);
    KestrelSignatureStrategy lateStrategy(late);
    std::fill(signature.begin(), signature.end(), 0);
    EXPECT_EQ(thrownByPointer([&] { sign(lateStrategy, digest, &authentication); }), "Tempo esgotado");
    EXPECT_EQ(late.sleeps().size(), 46u);
}

TEST_F(KestrelSigning, RefusalLeavesBufferAndFailuresAreReported)
{
    FakeClock clock;
    answerAt(clock, 1, false);
    KestrelSignatureStrategy strategy(clock);
    std::fill(signature.begin(), signature.end(), 0xAB);
    sign(strategy, sha256("recusado"), &authentication);
    EXPECT_EQ(clock.sleeps(), std::vector<int>{6});
    EXPECT_TRUE(std::all_of(signature.begin(), signature.end(), [](unsigned char b) { return b == 0xAB; }));

    FakeClock other;
    KestrelSignatureStrategy failing(other);

    sandbox().addFault(fault("/push/", 500));
    EXPECT_EQ(thrownText([&] { sign(failing, sha256("x"), &authentication); }),
              "Problema ao enviar hash para assinatura. Erro HTTP 500");
    sandbox().addFault(drop("/push/"));
    EXPECT_EQ(thrownText([&] { sign(failing, sha256("x"), &authentication); }),
              "Problema ao enviar hash para assinatura. Erro HTTP 0");
    // A push that went out, but whose answer cannot be fetched.
    FakeClock polling;
    KestrelSignatureStrategy pollingStrategy(polling);
    sandbox().addFault(fault("/isDone/", 500));
    EXPECT_EQ(thrownText([&] { sign(pollingStrategy, sha256("x"), &authentication); }),
              "Problema ao buscar resultado para assinatura. Erro HTTP 500");
    EXPECT_EQ(polling.sleeps(), std::vector<int>{6});

    key->keyName = L"chave-que-nao-existe";
    EXPECT_EQ(thrownText([&] { sign(failing, sha256("x"), &authentication); }),
              "Erro ao enviar push");
    EXPECT_TRUE(other.sleeps().empty());
}

TEST_F(HarrierSigning, SessionOpenedThenDigestSignedAndVerified)
{
    ASSERT_EQ(key->strategy, &HarrierSignatureStrategy::instance());
    ASSERT_EQ(key->strategy->strategyKind(), SignatureStrategy::Harrier);
    const SessionOpening session = key->strategy->openSession(key->keyName, &opening);
    ASSERT_EQ(session.status, 0);
    ASSERT_EQ(session.message, "");
    ASSERT_FALSE(session.token.empty());

    SessionTokenAuthentication signing(account->desktopCode, identity->privateKeyReference);
    signing.sessionToken = session.token;
    for (const char* text : {"primeiro documento", "segundo documento"}) {
        const Bytes digest = sha256(text);
        key->strategy->sign(key->keyName, L"", L"SHA256", digest.data(), digest.size(), signature.data(),
                            signature.size(), &signing);
        EXPECT_TRUE(opensslVerifies(*key->certificate, digest, signature)) << text;
    }
}

TEST_F(HarrierSigning, WrongPinAuthenticationKindAndServiceFailures)
{
    HarrierSignatureStrategy& strategy = HarrierSignatureStrategy::instance();
    opening.pin = L"0000";
    const SessionOpening refused = strategy.openSession(key->keyName, &opening);
    EXPECT_TRUE(refused.token.empty());
    EXPECT_FALSE(refused.message.empty());
    EXPECT_EQ(refused.status, 0);

    sandbox().addFault(drop("/tokensessao"));
    EXPECT_EQ(strategy.openSession(key->keyName, &opening).status, 1);
    sandbox().addFault(fault("/tokensessao", 500));
    const SessionOpening failed = strategy.openSession(key->keyName, &opening);
    EXPECT_EQ(failed.status, 0);
    EXPECT_EQ(failed.message.rfind("Abertura de sessão não realizada. Erro HTTP(500): \"", 0), 0u)
        << failed.message;

    SessionTokenAuthentication session(account->desktopCode, identity->privateKeyReference);
    const Bytes digest = sha256("x");
    const auto signWith = [&](UserAuthentication* authentication, const std::wstring& keyName) {
        strategy.sign(keyName, L"", L"SHA256", digest.data(), digest.size(), signature.data(), signature.size(),
                      authentication);
    };

    // An unknown session is the service's refusal, by value.
    session.sessionToken = L"sessao-inventada";
    EXPECT_THROW(signWith(&session, key->keyName), BaseException);
    sandbox().addFault(fault("/requestHashSessionSignature", 403));
    EXPECT_EQ(thrownText([&] { signWith(&session, key->keyName); }),
              "Assinatura não realizada. Erro HTTP(403): \"Falha simulada pelo sandbox (HTTP 403)\"");
    sandbox().addFault(drop("/requestHashSessionSignature"));
    EXPECT_EQ(thrownText([&] { signWith(&session, key->keyName); }), "Servidor está offline");
    EXPECT_THROW(signWith(&session, L"semPontoEVirgula"), std::out_of_range);
}

TEST_F(HarrierSigning, SignatureLongerThanTheBufferEndsTheProcess)
{
    const SessionOpening session = key->strategy->openSession(key->keyName, &opening);
    ASSERT_FALSE(session.token.empty()) << session.message;
    SessionTokenAuthentication signing(account->desktopCode, identity->privateKeyReference);
    signing.sessionToken = session.token;
    const Bytes digest = sha256("buffer pequeno");
    EXPECT_DEATH(key->strategy->sign(key->keyName, L"", L"SHA256", digest.data(), digest.size(), signature.data(),
                                     16, &signing),
                 "signature longer than its buffer");
}
