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
#include "signer/Encoding.h"
#include "tests/mock/FailureText.h"
#include "tests/mock/OpenSslTool.h"

using namespace orvane::model;
using namespace orvane::test;
using valmora::signer::Bytes;

namespace {

Bytes sha256(const std::string& text)
{
    return valmora::signer::digest(Bytes(text.begin(), text.end()), "SHA256");
}

// The phone's time-out is thrown by pointer; its text, the object freed.
template <typename Action>
std::string timeOutOf(Action action)
{
    try {
        action();
    } catch (BaseException* thrown) {
        return std::unique_ptr<BaseException>(thrown)->what();
    }
    return "(nothing thrown by pointer)";
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

    // The phone approves (or refuses) during the clock's `sleep`-th wait.
    void answerAt(FakeClock& clock, std::size_t sleep, bool approve)
    {
        clock.onSleep = [this, sleep, approve](std::size_t sleeps) {
            if (sleeps != sleep)
                return;
            sandbox().answerPending("S", phone, approve);
        };
    }

    void sign(FakeClock& clock, const std::string& text)
    {
        const Bytes digest = sha256(text);
        KestrelSignatureStrategy(clock).sign(key->keyName, L"", L"SHA256", digest.data(), digest.size(),
                                             signature.data(), signature.size(), &authentication);
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
        ASSERT_TRUE(identity->addHarrierAccount({L"ana.lima@exemplo.com.br", L"cartorio-central", L"Sandbox#2024"})
                        .succeeded());
        account = identity->harrierInstallations().at(0);
        ASSERT_EQ(listWallet(*account).changed, CertificateListResult::NewList);
        key = &account->wallet->keyReferences.at(0);
        opening = PasswordAndOtpAuthentication(account->desktopCode, identity->privateKeyReference);
        opening.pin = L"1234";
        opening.otp = L"246810";
        opening.applicationName = L"Orvane testes";
        session = SessionTokenAuthentication(account->desktopCode, identity->privateKeyReference);
        signature.assign(key->certificate->publicKey().modulus.size(), 0);
    }

    void sign(const std::string& text, const std::wstring& keyName, std::size_t room)
    {
        const Bytes digest = sha256(text);
        key->strategy->sign(keyName, L"", L"SHA256", digest.data(), digest.size(), signature.data(), room, &session);
    }

    std::unique_ptr<Orvane> identity;
    HarrierInstallation* account = nullptr;
    KeyReference* key = nullptr;
    PasswordAndOtpAuthentication opening;
    SessionTokenAuthentication session;
    Bytes signature;
};

} // namespace

// The waits shrink from six seconds to one; an answer counts only within the
// minute, checked before the answer is taken; a refusal leaves the buffer as
// it was.
TEST_F(KestrelSigning, PhoneApprovesWithinTheMinuteOrRefusesAndFailuresAreReported)
{
    FakeClock clock;
    answerAt(clock, 2, true);
    sign(clock, "contrato de locação, versão final");
    EXPECT_EQ(clock.sleeps(), (std::vector<int>{6, 5}));
    EXPECT_TRUE(opensslVerifies(key->certificate->toPem(), "contrato de locação, versão final", asText(signature)));
    EXPECT_FALSE(opensslVerifies(key->certificate->toPem(), "outro texto", asText(signature)));

    FakeClock silent;
    EXPECT_EQ(timeOutOf([&] { sign(silent, "sem resposta"); }), "Tempo esgotado");
    std::vector<int> expected{6, 5, 4, 3, 2};
    expected.resize(5 + 41, 1);
    EXPECT_EQ(silent.sleeps(), expected);

    FakeClock late;
    answerAt(late, 46, true);
    EXPECT_EQ(timeOutOf([&] { sign(late, "sem resposta"); }), "Tempo esgotado");
    EXPECT_EQ(late.sleeps().size(), 46u);

    FakeClock refusing;
    answerAt(refusing, 1, false);
    std::fill(signature.begin(), signature.end(), 0xAB);
    sign(refusing, "recusado");
    EXPECT_EQ(refusing.sleeps(), std::vector<int>{6});
    EXPECT_EQ(signature, Bytes(signature.size(), 0xAB));

    FakeClock other;
    for (const auto& [planned, message] : std::vector<std::pair<Json::Value, std::string>>{
             {fault("/push/", 500), "Problema ao enviar hash para assinatura. Erro HTTP 500"},
             {drop("/push/"), "Problema ao enviar hash para assinatura. Erro HTTP 0"},
             // A push that went out, but whose answer cannot be fetched.
             {fault("/isDone/", 500), "Problema ao buscar resultado para assinatura. Erro HTTP 500"}}) {
        sandbox().addFault(planned);
        EXPECT_EQ(failureOf<BaseException>([&] { sign(other, "x"); }), message);
    }
    EXPECT_EQ(other.sleeps(), std::vector<int>{6});

    key->keyName = L"chave-que-nao-existe";
    EXPECT_EQ(failureOf<BaseException>([&] { sign(other, "x"); }), "Erro ao enviar push");
    EXPECT_EQ(other.sleeps().size(), 1u);
}

TEST_F(HarrierSigning, SessionOpensAndSignsInItsRoomOnlyAndFailuresAreReported)
{
    const SessionOpening opened = key->strategy->openSession(key->keyName, &opening);
    ASSERT_EQ(opened.status, 0);
    ASSERT_EQ(opened.message, "");
    ASSERT_FALSE(opened.token.empty());

    session.sessionToken = opened.token;
    for (const char* text : {"primeiro documento", "segundo documento"}) {
        sign(text, key->keyName, signature.size());
        EXPECT_TRUE(opensslVerifies(key->certificate->toPem(), text, asText(signature))) << text;
    }
    // A signature longer than its buffer ends the process.
    EXPECT_DEATH(sign("buffer pequeno", key->keyName, 16), "signature longer than its buffer");

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
    EXPECT_EQ(failed.message.rfind("Abertura de sessão não realizada. Erro HTTP(500): \"", 0), 0u) << failed.message;

    // An unknown session is the service's refusal, by value.
    session.sessionToken = L"sessao-inventada";
    EXPECT_THROW(sign("x", key->keyName, signature.size()), BaseException);
    for (const auto& [planned, message] : std::vector<std::pair<Json::Value, std::string>>{
             {fault("/requestHashSessionSignature", 403),
              "Assinatura não realizada. Erro HTTP(403): \"Falha simulada pelo sandbox (HTTP 403)\""},
             {drop("/requestHashSessionSignature"), "Servidor está offline"}}) {
        sandbox().addFault(planned);
        EXPECT_EQ(failureOf<BaseException>([&] { sign("x", key->keyName, signature.size()); }), message);
    }
    EXPECT_THROW(sign("x", L"semPontoEVirgula", signature.size()), std::out_of_range);
}
