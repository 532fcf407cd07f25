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
    // The exchange runs on a thread of its own, with its own stack, and the
    // caller waits for it; a failure inside is carried back and rethrown.
    std::exception_ptr thrown;
    std::thread worker([&params, &thrown, this] {
        try {
            sendRequest(params, state_);
        } catch (...) {
            thrown = std::current_exception();
        }
    });
    worker.join();
    if (thrown)
        std::rethrow_exception(thrown);

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

void HttpSource::sendRequest(const SourceParams& params, RequestState& state)
{
    RequestLine line;
    line.verb = params.verb;
    line.path = params.path;
    line.acceptTypes = params.acceptTypes;
    line.acceptTypes.push_back(L"*/*");
    line.secure = params.secure;
    line.followRedirects = params.followRedirects;

    if (!params.connection) {
        state.failed = true;
        state.message = failureReport(params, 0, {});
        return;
    }
    params.connection->setTimeout(params.timeout);

    // Every pass after the first follows a credential prompt the user
    // confirmed; cancelling it is what ends the loop.
    for (;;) {
        if (!state.request) {
            std::unique_ptr<HttpRequest> opened = params.connection->openRequest(line);
            if (!opened) {
                const HttpAttempt failure = params.connection->lastFailure();
                state.failed = true;
                state.message = failureReport(params, failure.code, failure.text);
                return;
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
            return;
        }
        if (state.request->status() != 407)
            return;

        wipeProxyCredential(proxyPasswordBuffer);
        if (promptProxyCredentials() != 0) {
            state.failed = true;
            state.message.clear();
            wipeProxyCredential(proxyUserBuffer);
            wipeProxyCredential(proxyPasswordBuffer);
            return;
        }
        const std::wstring user = proxyCredentialText(proxyUserBuffer);
        const std::wstring password = proxyCredentialText(proxyPasswordBuffer);
        if (user.empty() || password.empty())
            return;   // the 407 goes to the caller
        params.connection->setProxyCredentials(user, password);
    }
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
