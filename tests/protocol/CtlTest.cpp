// orvanectl's service commands: as real processes for those that do not
// wait, in-process on the fake clock for the ones that poll a phone.

#include "tests/mock/ProtocolSupport.h"

#include "app/ctl/DeviceCommands.h"
#include "app/ctl/SignCommand.h"
#include "config/ApplicationPaths.h"
#include "config/TextCodec.h"
#include "model/kestrel/KestrelAuthorization.h"
#include "signer/Encoding.h"
#include "tests/mock/ChildProcess.h"
#include "tests/mock/OpenSslTool.h"
#include "tests/mock/TempDir.h"

#include <sstream>
#include <tuple>

using namespace orvane::model;
using namespace orvane::test;

namespace {

ProcessResult ctl(const std::vector<std::string>& arguments, const std::string& input = {})
{
    std::vector<std::string> argv{ORVANE_BINARY_DIR "/app/ctl/orvanectl"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return orvane::test::runProcess(argv, input, {}, 120);
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

class Ctl : public ProtocolTest {};

} // namespace

TEST_F(Ctl, EnrolSearchRefreshListRenameWithExitStatuses)
{
    EXPECT_EQ(ctl({"refresh"}).exitCode, 1);

    sandbox().addFault(fault("/create", 503));
    EXPECT_EQ(ctl({"enrol"}).exitCode, 4);
    const ProcessResult enrolled = ctl({"enrol", "--name", "posto-ctl"});
    ASSERT_EQ(enrolled.exitCode, 0) << enrolled.err;
    EXPECT_NE(enrolled.out.find("installation code: "), std::string::npos);
    EXPECT_EQ(enrolled.out.find("==="), std::string::npos) << "service answers belong on standard error";
    EXPECT_EQ(ctl({"enrol"}).exitCode, 0);
    std::unique_ptr<Orvane> identity = Orvane::load();
    EXPECT_EQ(identity->desktopInfo.installationName, L"posto-ctl");

    const ProcessResult search = ctl({"devices", "search", "CPF", "39053344705"});
    ASSERT_EQ(search.exitCode, 0) << search.err;
    const auto found = lines(search.out);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_NE(found[0].find("Galaxy S23 de Ana\tnot paired"), std::string::npos) << found[0];
    EXPECT_EQ(ctl({"devices", "search", "CPF", "11144477735"}).exitCode, 3);
    EXPECT_EQ(ctl({"devices", "search", "CPF"}).exitCode, 2);
    // Typed as people write it, the identity passes through the catalogue's
    // mask like on the form; text that does not fit is turned down here.
    const ProcessResult masked = ctl({"devices", "search", "CPF", "390.533.447-05"});
    EXPECT_EQ(masked.exitCode, 0) << masked.err;
    EXPECT_EQ(lines(masked.out), found);
    const ProcessResult letters = ctl({"devices", "search", "CPF", "390.533.44x-05"});
    EXPECT_EQ(letters.exitCode, 2);
    EXPECT_NE(letters.err.find("(Pessoa F\xC3\xADsica (CPF))"), std::string::npos) << letters.err;
    EXPECT_EQ(ctl({"devices", "search", "CPF", "390.533.447"}).exitCode, 2);  // too short for the validator

    pair(*identity, found[0].substr(0, 40));
    const ProcessResult refreshed = ctl({"refresh"});
    ASSERT_EQ(refreshed.exitCode, 0) << refreshed.err;
    EXPECT_EQ(refreshed.out.rfind("1 certificate\nSMARTPHONE\tkestrel no Galaxy S23 de Ana\t", 0), 0u)
        << refreshed.out;
    EXPECT_EQ(orvane::test::publishedEntries().size(), 1u);

    const ProcessResult renamed = ctl({"device", "rename", "kestrel no Galaxy S23 de Ana", "Galaxy"});
    EXPECT_EQ(renamed.exitCode, 0) << renamed.err;
    EXPECT_EQ(ctl({"device", "rename", "Galaxy", "Galaxy"}).exitCode, 3);
    const ProcessResult listed = ctl({"certs", "list"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_NE(listed.out.find("SMARTPHONE\tGalaxy\t"), std::string::npos) << listed.out;

    sandbox().addFault(fault("/listCertificates/", 500));
    const ProcessResult offline = ctl({"certs", "list"});
    EXPECT_EQ(offline.exitCode, 4);
    EXPECT_NE(offline.err.find("Certificados nao obtidos. Erro HTTP 500"), std::string::npos) << offline.err;

    const ProcessResult removed = ctl({"group", "remove", "Galaxy"});
    EXPECT_EQ(removed.exitCode, 0) << removed.err;
    EXPECT_TRUE(orvane::test::publishedEntries().empty());
}

TEST_F(Ctl, CloudAccountAddedAndFileSignedWithPinAndCode)
{
    ASSERT_EQ(ctl({"enrol"}).exitCode, 0);
    EXPECT_EQ(ctl({"account", "add", "ana.lima@exemplo.com.br", "cartorio-central"}, "errada\n").exitCode, 3);
    const ProcessResult added =
        ctl({"account", "add", "ana.lima@exemplo.com.br", "cartorio-central"}, "Sandbox#2024\n");
    ASSERT_EQ(added.exitCode, 0) << added.err;
    EXPECT_NE(added.out.find("authorisation mode: local"), std::string::npos);
    const ProcessResult refreshed = ctl({"refresh"});
    ASSERT_EQ(refreshed.exitCode, 0) << refreshed.err;
    EXPECT_NE(refreshed.out.find("CLOUD\tharrier de "), std::string::npos) << refreshed.out;

    std::unique_ptr<Orvane> identity = Orvane::load();
    const KeyReference* key = identity->certificates().at(0);
    orvane::test::TempDir dir;
    const std::string document = "Termo de adesão, assinado na nuvem.\n";
    orvane::test::writeFile(dir.file("documento.txt"), document);
    const std::vector<std::string> sign = {"sign", KeyReference::keyIdText(key->keyId), "--file",
                                           dir.file("documento.txt"), "--out", dir.file("assinatura.bin")};
    EXPECT_EQ(ctl(sign, "0000\n246810\n").exitCode, 3);
    const ProcessResult signedFile = ctl(sign, "1234\n246810\n");
    ASSERT_EQ(signedFile.exitCode, 0) << signedFile.err;
    EXPECT_TRUE(
        opensslVerifies(key->certificate->toPem(), document, orvane::test::readFile(dir.file("assinatura.bin"))));

    const std::string walletName = toUtf8(key->group->name());
    EXPECT_EQ(ctl({"group", "remove", walletName}).exitCode, 0);
    EXPECT_EQ(ctl({"group", "remove", walletName}).exitCode, 1);
}

TEST_F(Ctl, AuthorizeShowsEachAnswerAndPhoneSignsOnTheFakeClock)
{
    std::unique_ptr<Orvane> identity = enrol();
    const std::vector<std::string> ana = sandbox().deviceCodesOf("ana");
    FakeClock clock;
    clock.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 2)
            sandbox().answerPending("A", ana[1]);
    };
    std::ostringstream out, err;
    const int status = orvane::ctl::devicesAuthorize({"CPF", "39053344705"}, out, err, clock);
    EXPECT_EQ(status, 3);
    EXPECT_EQ(out.str(), "asked: Galaxy S23 de Ana\nasked: iPhone 13 de Ana\napproved: iPhone 13 de Ana\n"
                         "no answer in time: Galaxy S23 de Ana\n");

    ASSERT_TRUE(identity->refreshCertificates().succeeded());
    const KeyReference* key = identity->certificates().at(0);
    FakeClock phone;
    phone.onSleep = [&](std::size_t sleeps) {
        if (sleeps == 1)
            sandbox().answerPending("S", ana[1]);
    };
    // SHA-256 of "abc", from the standard's own examples.
    const std::string digest = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    std::istringstream noInput;
    std::ostringstream signatureOut, signErr;
    ASSERT_EQ(orvane::ctl::signDigest({toUtf8(key->keyName), "--digest", digest}, noInput, signatureOut, signErr,
                                      phone),
              0)
        << signErr.str();
    EXPECT_EQ(phone.sleeps(), std::vector<int>{6});
    std::string base64 = signatureOut.str().substr(0, signatureOut.str().size() - 1);
    EXPECT_TRUE(opensslVerifies(key->certificate->toPem(), "abc", asText(valmora::signer::base64Decode(base64))));
}

// A phone approves a maintenance request, then the others go; the waits run
// on the fake clock in-process, the approved path also as a real process.
TEST_F(Ctl, RemoveAsksTheApprovingPhoneFirstThenRemovesTheOthers)
{
    std::unique_ptr<Orvane> identity = enrol();
    const std::string via = sandbox().deviceCodesOf("ana")[0];
    const std::string spare = addPhone("ana", "Celular antigo de Ana")["deviceCode"].asString();
    const std::vector<std::string> command = {"CPF", "39053344705", "--via", via, spare};
    const auto ctlRemove = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"devices", "remove"});
        return ctl(arguments);
    };
    EXPECT_EQ(ctlRemove({"CPF", "39053344705", "--via", via}).exitCode, 2);         // nothing to remove
    EXPECT_EQ(ctlRemove({"CPF", "39053344705", "--via", via, via}).exitCode, 2);    // the approver stays
    EXPECT_EQ(ctlRemove({"CPF", "39053344705", "--via", via, "00"}).exitCode, 1);   // not Ana's
    EXPECT_EQ(callCount("/maintenanceDevices/"), 0);

    Json::Value refusal(Json::objectValue);
    refusal["contentData"] = R"({"status": "false", "message": "manutencao recusada"})";
    // No answer in a minute; refused or unreachable at the removal.
    for (const auto& [approve, removalFault, exitStatus] :
         std::vector<std::tuple<bool, Json::Value, int>>{{false, Json::Value(), 3},
                                                         {true, fault("/maintenanceDevices/", 200, refusal), 3},
                                                         {true, orvane::test::drop("/maintenanceDevices/"), 4}}) {
        if (!removalFault.isNull())
            sandbox().addFault(removalFault);
        FakeClock clock;
        clock.onSleep = [&, approve = approve](std::size_t) {
            if (approve)
                sandbox().answerPending("M", via);
        };
        std::ostringstream out, err;
        EXPECT_EQ(orvane::ctl::devicesRemove(command, out, err, clock), exitStatus) << err.str();
        EXPECT_EQ(out.str(), approve ? "asked: Galaxy S23 de Ana\napproved: Galaxy S23 de Ana\n"
                                     : "asked: Galaxy S23 de Ana\nno answer in time: Galaxy S23 de Ana\n");
        sandbox().clearFaults();
    }

    Json::Value rule(Json::objectValue);
    rule["afterPolls"] = 1;
    sandbox().post("/auto-approve", rule);
    const ProcessResult removed = ctlRemove(command);
    EXPECT_EQ(removed.exitCode, 0) << removed.err;
    EXPECT_EQ(removed.out, "asked: Galaxy S23 de Ana\napproved: Galaxy S23 de Ana\nremoved: Celular antigo de Ana\n");
    EXPECT_EQ(searchDevices(identity->kestrelInstallation(), {L"39053344705", L"CPF"}).devices.size(), 2u);
}
