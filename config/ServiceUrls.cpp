#include "config/ServiceUrls.h"

#include "config/ApplicationPaths.h"

namespace orvane::model {

namespace {

void dropOneTrailingSlash(std::wstring& text)
{
    if (!text.empty() && text.back() == L'/')
        text.pop_back();
}

// Drops the scheme when the text starts with it, together with the character
// that follows it: the services' configuration has always been read this way,
// which is why harrier.url must be a bare host.
void dropSchemeAndOneMore(std::wstring& text, const std::wstring& scheme)
{
    if (text.compare(0, scheme.size(), scheme) == 0)
        text.erase(0, scheme.size() + 1);
}

} // namespace

std::wstring deriveKestrelBaseUrl(const Properties& configuration)
{
    std::wstring url = configuration.get(L"brantis.url");
    if (url.empty())
        return {};
    std::wstring base = configuration.get(L"brantis.base.name");
    dropOneTrailingSlash(url);
    if (base.empty())
        base = L"/TolvaneServices";
    if (base.front() != L'/')
        base.insert(base.begin(), L'/');
    dropOneTrailingSlash(base);
    return url + base + L"/desktop";
}

std::wstring deriveHarrierBaseUrl(const Properties& configuration)
{
    std::wstring host = configuration.get(L"harrier.url");
    dropSchemeAndOneMore(host, L"http://");
    dropSchemeAndOneMore(host, L"https://");
    return host;
}

std::wstring kestrelBaseUrl()
{
    static std::wstring cached;
    if (!cached.empty())
        return cached;
    std::wstring url = deriveKestrelBaseUrl(Properties::load(configFilePath()));
    cached = url;
    return url;
}

std::wstring harrierBaseUrl()
{
    static std::wstring cached;
    if (!cached.empty())
        return cached;
    cached = deriveHarrierBaseUrl(Properties::load(configFilePath()));
    return cached;
}

} // namespace orvane::model
