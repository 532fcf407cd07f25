#include "tests/mock/ChildProcess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace orvane::test {

namespace {

std::vector<char*> argumentVector(const std::vector<std::string>& argv)
{
    std::vector<char*> result;
    for (const std::string& a : argv)
        result.push_back(const_cast<char*>(a.c_str()));
    result.push_back(nullptr);
    return result;
}

void applyEnvironment(const std::map<std::string, std::string>& extraEnv)
{
    for (const auto& [name, value] : extraEnv)
        setenv(name.c_str(), value.c_str(), 1);
}

} // namespace

ProcessResult runProcess(const std::vector<std::string>& argv, const std::string& input,
                         const std::map<std::string, std::string>& extraEnv, int timeoutSeconds)
{
    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC))
        throw std::runtime_error("pipe failed");
    std::vector<char*> args = argumentVector(argv);
    pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        applyEnvironment(extraEnv);
        execv(args[0], args.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    signal(SIGPIPE, SIG_IGN);
    size_t written = 0;
    if (input.empty()) {
        close(in[1]);
        in[1] = -1;
    }

    ProcessResult result;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    bool outOpen = true, errOpen = true;
    while (outOpen || errOpen) {
        pollfd fds[3];
        int n = 0;
        if (outOpen) fds[n++] = {out[0], POLLIN, 0};
        if (errOpen) fds[n++] = {err[0], POLLIN, 0};
        if (in[1] >= 0) fds[n++] = {in[1], POLLOUT, 0};
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            ::kill(pid, SIGKILL);
            break;
        }
        if (poll(fds, n, static_cast<int>(left)) < 0 && errno != EINTR)
            break;
        for (int i = 0; i < n; ++i) {
            if (!fds[i].revents)
                continue;
            if (fds[i].fd == in[1]) {
                ssize_t w = write(in[1], input.data() + written, input.size() - written);
                if (w > 0) written += static_cast<size_t>(w);
                if (w < 0 || written == input.size()) {
                    close(in[1]);
                    in[1] = -1;
                }
                continue;
            }
            char buffer[4096];
            ssize_t r = read(fds[i].fd, buffer, sizeof buffer);
            std::string& target = fds[i].fd == out[0] ? result.out : result.err;
            if (r > 0) {
                target.append(buffer, static_cast<size_t>(r));
            } else {
                (fds[i].fd == out[0] ? outOpen : errOpen) = false;
            }
        }
    }
    if (in[1] >= 0) close(in[1]);
    close(out[0]);
    close(err[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    return result;
}

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& argv,
                                     const std::map<std::string, std::string>& extraEnv)
{
    std::vector<char*> args = argumentVector(argv);
    pid_ = fork();
    if (pid_ < 0)
        throw std::runtime_error("fork failed");
    if (pid_ == 0) {
        applyEnvironment(extraEnv);
        execv(args[0], args.data());
        _exit(127);
    }
}

BackgroundProcess::~BackgroundProcess()
{
    if (!reaped_) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, &status_, 0);
    }
}

bool BackgroundProcess::running()
{
    if (reaped_)
        return false;
    if (waitpid(pid_, &status_, WNOHANG) == pid_) {
        reaped_ = true;
        return false;
    }
    return true;
}

void BackgroundProcess::kill(int signal)
{
    if (!reaped_)
        ::kill(pid_, signal);
}

int BackgroundProcess::wait()
{
    if (!reaped_) {
        waitpid(pid_, &status_, 0);
        reaped_ = true;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

} // namespace orvane::test
