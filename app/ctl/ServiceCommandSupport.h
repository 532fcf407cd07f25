#pragma once

// What the commands that talk to the services share: their exit statuses,
// the identity they work on, and the rule that the services' raw answers (which
// the calls print for diagnosis) go to standard error, so that standard output
// holds only the command's own readable lines.

#include "model/kestrel/IdentityKey.h"
#include "model/identity/Orvane.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>

namespace orvane::ctl {

// Besides exitSuccess (0), exitFailure (1, also for an unexpected error) and
// exitUsage (2):
constexpr int exitRefused = 3;  // the service answered and said no (or nobody approved in time)
constexpr int exitOffline = 4;  // the service could not be reached or answered with a wrong status

// The exit status of a service result: 0 success, 4 status 1, 3 a message.
int exitStatusOf(std::int32_t status, const std::string& message);

// Prints the result's message (if any) as "orvanectl: ..." and gives its exit
// status.
int report(std::ostream& err, std::int32_t status, const std::string& message);

// While it lives, what is written to std::cout goes to std::cerr; `out()` is
// a stream on the original destination of the command's output.
class AnswersToStandardError {
public:
    explicit AnswersToStandardError(std::ostream& out);
    ~AnswersToStandardError();
    AnswersToStandardError(const AnswersToStandardError&) = delete;
    AnswersToStandardError& operator=(const AnswersToStandardError&) = delete;

    std::ostream& out() { return out_; }

private:
    std::ostream out_;
    std::streambuf* savedCout_;
};

// The identity of this computer for the configured Kestrel address, loaded
// as the program loads it (the catalogue may be refreshed and saved). Null,
// with a message on `err`, when there is none.
std::unique_ptr<model::Orvane> loadInstalledIdentity(std::ostream& err);

// The identity as the identity form builds it from what a person types: the
// parts (separated by "&") go through the hierarchy's masks, which take out
// the punctuation people type ("390.533.447-05"), and are joined by "&"
// again, an empty part left out. A hierarchy the local catalogue does not
// know takes the text as it is. No value, with a message on `err`, when the
// text does not fit the hierarchy.
std::optional<model::IdentityKey> typedIdentity(const model::KestrelInstallation& installation,
                                                const std::string& hierarchyCode, const std::string& typed,
                                                std::ostream& err);

// UTF-8 of a wide text, and back.
std::string narrow(const std::wstring& text);
std::wstring wide(const std::string& text);

// One line of standard input without its line end; empty at the end.
std::string readSecretLine(std::istream& in);

} // namespace orvane::ctl
