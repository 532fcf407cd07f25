#include "net/ProxyCredentialPrompt.h"

#include "net/TerminalCredentialPrompt.h"

#include <atomic>

namespace valmora::net {

const wchar_t* const ProxyCredentialPrompt::caption = L"Kestrel";
const wchar_t* const ProxyCredentialPrompt::message = L"Entre com a conta do usu\u00EF\u00BF\u00BDrio";

namespace {

// The installed prompt. It is set by the shell before any worker runs and
// read by request threads, so it is swapped atomically.
std::shared_ptr<ProxyCredentialPrompt>& slot()
{
    static std::shared_ptr<ProxyCredentialPrompt> prompt = std::make_shared<TerminalCredentialPrompt>();
    return prompt;
}

} // namespace

ProxyCredentialPrompt::~ProxyCredentialPrompt() = default;

std::shared_ptr<ProxyCredentialPrompt> ProxyCredentialPrompt::installed()
{
    return std::atomic_load(&slot());
}

std::shared_ptr<ProxyCredentialPrompt> ProxyCredentialPrompt::install(std::shared_ptr<ProxyCredentialPrompt> prompt)
{
    if (!prompt)
        prompt = std::make_shared<TerminalCredentialPrompt>();
    return std::atomic_exchange(&slot(), std::move(prompt));
}

} // namespace valmora::net
