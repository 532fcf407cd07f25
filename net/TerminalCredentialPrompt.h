#pragma once

#include "net/ProxyCredentialPrompt.h"

#include <cstdio>

namespace valmora::net {

// The prompt of a maintenance run: asks on the terminal when standard input
// is one (the password without echo), and cancels otherwise, so that an
// installer running the program unattended is never left waiting.
class TerminalCredentialPrompt : public ProxyCredentialPrompt {
public:
    TerminalCredentialPrompt();
    // For tests: other descriptors than standard input and error.
    TerminalCredentialPrompt(int inputDescriptor, std::FILE* output);

    int ask(std::wstring& user, std::wstring& password) override;

private:
    int input_;
    std::FILE* output_;
};

} // namespace valmora::net
