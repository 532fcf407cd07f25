#include "app/ctl/CommandTable.h"

#include "app/ctl/CertCommands.h"
#include "app/ctl/KeyCommands.h"
#include "app/ctl/StoreCommands.h"

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
