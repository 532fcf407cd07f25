#include "app/ctl/CommandTable.h"

#include "app/ctl/CertCommands.h"
#include "app/ctl/DeviceCommands.h"
#include "app/ctl/IdentityCommands.h"
#include "app/ctl/KeyCommands.h"
#include "app/ctl/ProviderCommands.h"
#include "app/ctl/SignCommand.h"
#include "app/ctl/StoreCommands.h"

#include <iostream>

namespace orvane::ctl {

const std::vector<Command>& commandTable()
{
    static const std::vector<Command> table = {
        {{"cert", "show"}, "FILE...", "print each certificate (PEM, DER or base64) as Orvane reads it, one JSON object a line",
         certShow},
        {{"store", "list"}, "[--json] [STORE]",
         "list a certificate store (MY unless named): fingerprint, subject, end of validity, key-provider link",
         storeList},
        {{"store", "remove"}, "FINGERPRINT", "remove the certificate from whichever of the user's stores holds it",
         storeRemove},
        {{"key", "show"}, "", "name of this computer's key pair, whether the key store holds it, its public key",
         keyShow},
        {{"enrol"}, "[--name NAME]",
         "enrol this computer at the configured Kestrel service (a new key pair on the first enrolment)", enrol},
        {{"devices", "search"}, "HIERARCHY IDENTITY", "the phones the Kestrel service knows for an identity",
         devicesSearch},
        {{"devices", "authorize"}, "[--maintenance] HIERARCHY IDENTITY [DEVICE-CODE...]",
         "ask the phones to approve this computer and wait for their answers (up to a minute each)",
         [](const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
             return devicesAuthorize(arguments, out, err);
         }},
        {{"devices", "remove"}, "HIERARCHY IDENTITY --via DEVICE-CODE DEVICE-CODE...",
         "remove phones from an identity once the --via phone approves (up to a minute)",
         [](const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
             return devicesRemove(arguments, out, err);
         }},
        {{"certs", "list"}, "", "ask both services for the current certificates and print them (nothing saved)",
         certsList},
        {{"refresh"}, "", "list the certificates at both services, save them and publish them into MY", refresh},
        {{"account", "add"}, "EMAIL ORGANISATION",
         "add a Harrier account; the password is read from standard input", [](const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
             return accountAdd(arguments, std::cin, out, err);
         }},
        {{"group", "remove"}, "NAME", "take a phone or a cloud wallet off this computer", groupRemove},
        {{"device", "rename"}, "NAME NEW-NAME", "give a phone another name on this computer", deviceRename},
        {{"sign"}, "KEY (--digest HEX | --file PATH) [--algorithm NAME] [--out FILE]",
         "sign with a remote key (phone: approve on it; cloud: PIN and one-time code on standard input)",
         [](const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
             return signDigest(arguments, std::cin, out, err);
         }},
        {{"provider", "install"}, "[--module PATH]",
         "register the PKCS#11 module for this user with p11-kit and in the NSS database ~/.pki/nssdb",
         providerInstall},
        {{"provider", "uninstall"}, "", "undo both registrations of the PKCS#11 module", providerUninstall},
        {{"provider", "status"}, "", "where the PKCS#11 module is registered", providerStatus},
    };
    return table;
}

void printUsage(std::ostream& stream)
{
    stream << "usage: orvanectl COMMAND [ARGUMENTS]\n\ncommands:\n";
    for (const Command& command : commandTable()) {
        std::string line = " ";
        for (const std::string& word : command.words)
            line += " " + word;
        line += " " + command.arguments;
        stream << line << "\n      " << command.summary << "\n";
    }
    stream << "\nexit status: 0 success, 1 failure, 2 usage, 3 refused by the service (or not approved in time),\n"
              "4 service unreachable or answering with a wrong status\n";
}

int dispatch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    if (arguments.size() == 1 && (arguments[0] == "help" || arguments[0] == "--help" || arguments[0] == "-h")) {
        printUsage(out);
        return exitSuccess;
    }
    const Command* chosen = nullptr;
    for (const Command& command : commandTable()) {
        if (command.words.size() > arguments.size())
            continue;
        if (!std::equal(command.words.begin(), command.words.end(), arguments.begin()))
            continue;
        if (!chosen || command.words.size() > chosen->words.size())
            chosen = &command;
    }
    if (!chosen) {
        if (!arguments.empty())
            err << "orvanectl: unknown command: " << arguments[0] << (arguments.size() > 1 ? " " + arguments[1] : "")
                << "\n";
        printUsage(err);
        return exitUsage;
    }
    const std::vector<std::string> rest(arguments.begin() + static_cast<std::ptrdiff_t>(chosen->words.size()),
                                        arguments.end());
    return chosen->run(rest, out, err);
}

} // namespace orvane::ctl
