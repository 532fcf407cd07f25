#include "net/TerminalCredentialPrompt.h"

#include "config/TextCodec.h"

#include <termios.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace valmora::net {

namespace {

// One line from the descriptor, without its end; false at end of input
// before anything was read. Read byte by byte so nothing past the line is
// taken from the terminal.
bool readLine(int descriptor, std::string& line)
{
    line.clear();
    char byte = 0;
    bool any = false;
    for (;;) {
        const ssize_t count = ::read(descriptor, &byte, 1);
        if (count <= 0)
            return any;
        any = true;
        if (byte == '\n')
            return true;
        if (byte != '\r')
            line.push_back(byte);
    }
}

std::wstring widened(const std::string& text)
{
    try {
        return orvane::model::fromUtf8(text);
    } catch (const std::range_error&) {
        return orvane::model::widenBytes(text);
    }
}

} // namespace

TerminalCredentialPrompt::TerminalCredentialPrompt()
    : TerminalCredentialPrompt(STDIN_FILENO, stderr)
{
}

TerminalCredentialPrompt::TerminalCredentialPrompt(int inputDescriptor, std::FILE* output)
    : input_(inputDescriptor), output_(output)
{
}

int TerminalCredentialPrompt::ask(std::wstring& user, std::wstring& password)
{
    if (!::isatty(input_))
        return 1;

    std::fprintf(output_, "%s\n%s\n", orvane::model::toUtf8(caption).c_str(),
                 orvane::model::toUtf8(message).c_str());
    std::fprintf(output_, "Usuario: ");
    std::fflush(output_);
    std::string userLine;
    if (!readLine(input_, userLine))
        return 1;

    std::fprintf(output_, "Senha: ");
    std::fflush(output_);
    termios saved{};
    const bool echoOff = ::tcgetattr(input_, &saved) == 0;
    if (echoOff) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(input_, TCSANOW, &quiet);
    }
    std::string passwordLine;
    const bool gotPassword = readLine(input_, passwordLine);
    if (echoOff)
        ::tcsetattr(input_, TCSANOW, &saved);
    std::fprintf(output_, "\n");
    std::fflush(output_);
    if (!gotPassword)
        return 1;

    user = widened(userLine);
    password = widened(passwordLine);
    return 0;
}

} // namespace valmora::net
