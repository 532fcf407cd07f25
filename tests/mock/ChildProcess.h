#pragma once

#include <map>
#include <string>
#include <vector>

namespace orvane::test {

struct ProcessResult {
    int exitCode = -1;   // exit status, or -1 when the child did not exit normally
    int signal = 0;      // the signal that ended it, if any
    std::string out;     // standard output
    std::string err;     // standard error
};

// Runs a program to its end with the given arguments (argv[0] is the
// program), optional standard input and extra environment variables, and
// collects what it printed. The child inherits the rest of the environment.
ProcessResult runProcess(const std::vector<std::string>& argv,
                         const std::string& input = {},
                         const std::map<std::string, std::string>& extraEnv = {},
                         int timeoutSeconds = 60);

// A child left running in the background; killed (SIGKILL) and reaped when
// the object goes unless it was waited for.
class BackgroundProcess {
public:
    explicit BackgroundProcess(const std::vector<std::string>& argv,
                               const std::map<std::string, std::string>& extraEnv = {});
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    int pid() const { return pid_; }
    bool running();
    void kill(int signal);
    // Waits for the end; returns the exit code, or -1 when ended by a signal.
    int wait();

private:
    int pid_ = -1;
    bool reaped_ = false;
    int status_ = 0;
};

} // namespace orvane::test
