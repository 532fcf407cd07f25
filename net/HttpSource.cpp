#include "net/HttpSource.h"

#include "net/HostNotFoundException.h"
#include "net/HttpConnection.h"
#include "net/ProxyCredentials.h"

#include <boost/numeric/conversion/cast.hpp>

#include <exception>
#include <thread>

namespace valmora::net {

namespace {

std::wstring failureReport(const SourceParams& params, long code, const std::wstring& text)
{
    return params.host + L":" + std::to_wstring(params.port) + params.path + L" | ("
        + std::to_wstring(code) + L") " + text;
}

std::wstring headerText(const std::map<std::wstring, std::wstring>& headers)
{
    std::wstring text;
    for (const auto& [name, value] : headers) {
        if (!text.empty())
            text += L"\r\n";
        text += name + L": " + value;
    }
    return text;
}

} // namespace

HttpSource::HttpSource(const SourceParams& params)
{
    // Each pass of the exchange runs on a thread of its own, with its own
    // stack, and the caller waits for it. A proxy's demand for credentials
    // is answered between passes on the caller's thread: a request made on
    // the GUI thread can then show the dialog there, instead of waiting
    // for a thread that waits for it.
    for (;;) {
        bool proxyDemand = false;
        std::exception_ptr thrown;
        std::thread worker([&params, &thrown, &proxyDemand, this] {
            try {
                proxyDemand = sendRequest(params, state_);
            } catch (...) {
                thrown = std::current_exception();
            }
        });
        worker.join();
        if (thrown)
            std::rethrow_exception(thrown);
        if (!proxyDemand || !answerProxyDemand(params, state_))
            break;
    }

    if (state_.failed) {
        // Typed credentials that did not get through are not offered again,
        // unless the user chose to give them before every connection.
        if (params.proxy.enable && !params.proxy.initialAuthenticate) {
            wipeProxyCredential(proxyUserBuffer);
            wipeProxyCredential(proxyPasswordBuffer);
        }
        throw HostNotFoundException(state_.message);
    }
}

bool HttpSource::sendRequest(const SourceParams& params, RequestState& state)
{
    if (!params.connection) {
        state.failed = true;
        state.message = failureReport(params, 0, {});
        return false;
    }
    params.connection->setTimeout(params.timeout);

    if (!state.request) {
        RequestLine line;
        line.verb = params.verb;
        line.path = params.path;
        line.acceptTypes = params.acceptTypes;
        line.acceptTypes.push_back(L"*/*");
        line.secure = params.secure;
        line.followRedirects = params.followRedirects;
        std::unique_ptr<HttpRequest> opened = params.connection->openRequest(line);
        if (!opened) {
            const HttpAttempt failure = params.connection->lastFailure();
            state.failed = true;
            state.message = failureReport(params, failure.code, failure.text);
            return false;
        }
        state.request = std::move(opened);
    }

    const std::wstring headers = headerText(params.headers);
    boost::numeric_cast<std::uint32_t>(params.body.size());
    boost::numeric_cast<std::uint32_t>(headers.size());

    const HttpAttempt attempt = state.request->send(headers, params.body);
    if (!attempt.answered) {
        state.failed = true;
        state.message = failureReport(params, attempt.code, attempt.text);
        return false;
    }
    return state.request->status() == 407;
}

bool HttpSource::answerProxyDemand(const SourceParams& params, RequestState& state)
{
    wipeProxyCredential(proxyPasswordBuffer);
    if (promptProxyCredentials() != 0) {
        state.failed = true;
        state.message.clear();
        wipeProxyCredential(proxyUserBuffer);
        wipeProxyCredential(proxyPasswordBuffer);
        return false;
    }
    const std::wstring user = proxyCredentialText(proxyUserBuffer);
    const std::wstring password = proxyCredentialText(proxyPasswordBuffer);
    if (user.empty() || password.empty())
        return false;   // the 407 goes to the caller
    // Every new pass follows a prompt the user confirmed; cancelling it is
    // what ends the passes.
    params.connection->setProxyCredentials(user, password);
    return true;
}

std::streamsize HttpSource::read(char* buffer, std::streamsize size)
{
    if (!state_.request || size <= 0)
        return -1;
    const std::size_t count = state_.request->read(buffer, static_cast<std::size_t>(size));
    return count == 0 ? -1 : static_cast<std::streamsize>(count);
}

void HttpSource::close()
{
    state_.request.reset();
}

} // namespace valmora::net
