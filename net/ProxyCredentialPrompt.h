#pragma once

#include <memory>
#include <string>

namespace valmora::net {

// Asks the person at the computer for the proxy's user name and password. The
// window installs a dialog; without one the terminal is asked, and where
// there is no terminal the question counts as cancelled.
class ProxyCredentialPrompt {
public:
    // The texts the question is put with, the same wherever it is shown.
    static const wchar_t* const caption;   // "Kestrel"
    static const wchar_t* const message;   // "Entre com a conta do usuï¿½rio", damaged characters included

    virtual ~ProxyCredentialPrompt();

    // 0 when the person confirmed, with what was typed in `user` and
    // `password` (either may be empty); anything else is a cancel or a
    // failure. Called on the thread of the request, which waits meanwhile.
    virtual int ask(std::wstring& user, std::wstring& password) = 0;

    // The prompt the network layer uses; the terminal one until the program
    // installs another. Installing returns the one it replaces, and an empty
    // pointer puts the terminal one back.
    static std::shared_ptr<ProxyCredentialPrompt> installed();
    static std::shared_ptr<ProxyCredentialPrompt> install(std::shared_ptr<ProxyCredentialPrompt> prompt);
};

} // namespace valmora::net
