#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// A command gets the arguments that follow its words and writes to the two
// streams; its answer is the process's exit status.
using CommandHandler =
    std::function<int(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)>;

struct Command {
    std::vector<std::string> words;  // e.g. {"cert", "show"}
    std::string arguments;           // for the usage text, e.g. "FILE..."
    std::string summary;
    CommandHandler run;
};

// Exit statuses shared by all commands.
constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;  // the command ran, something in it failed
constexpr int exitUsage = 2;    // the command line was not understood

// Every command of orvanectl. A new command is one more row here.
const std::vector<Command>& commandTable();

// Finds the command whose words start the arguments (the longest such) and
// runs it with the rest; prints the usage for anything else.
int dispatch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

void printUsage(std::ostream& stream);

} // namespace orvane::ctl
