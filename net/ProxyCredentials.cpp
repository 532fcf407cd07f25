#include "net/ProxyCredentials.h"

#include "net/ProxyCredentialPrompt.h"

#include <cstring>

namespace valmora::net {

char16_t proxyUserBuffer[proxyUserBufferSize] = {};
char16_t proxyPasswordBuffer[proxyPasswordBufferSize] = {};

namespace {

std::size_t characters(const char16_t* buffer)
{
    std::size_t count = 0;
    while (buffer[count] != 0)
        ++count;
    return count;
}

} // namespace

void wipeProxyCredential(char16_t* buffer)
{
    std::memset(buffer, 0, characters(buffer));
}

std::wstring proxyCredentialText(const char16_t* buffer)
{
    std::wstring text;
    for (std::size_t index = 0; buffer[index] != 0; ++index) {
        const char32_t unit = buffer[index];
        const char32_t next = buffer[index + 1];
        if (unit >= 0xD800 && unit < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            text.push_back(static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00)));
            ++index;
        } else {
            text.push_back(static_cast<wchar_t>(unit));
        }
    }
    return text;
}

void storeProxyCredential(char16_t* buffer, std::size_t size, const std::wstring& text)
{
    std::size_t used = 0;
    for (const wchar_t character : text) {
        const auto code = static_cast<char32_t>(character);
        if (code >= 0x10000) {
            if (used + 2 >= size)
                break;
            buffer[used++] = static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
            buffer[used++] = static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
        } else {
            if (used + 1 >= size)
                break;
            buffer[used++] = static_cast<char16_t>(code);
        }
    }
    buffer[used] = 0;
}

int promptProxyCredentials()
{
    std::memset(proxyUserBuffer, 0, 8);
    std::memset(proxyPasswordBuffer, 0, 8);
    std::wstring user;
    std::wstring password;
    const int result = ProxyCredentialPrompt::installed()->ask(user, password);
    if (result == 0) {
        storeProxyCredential(proxyUserBuffer, proxyUserBufferSize, user);
        storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, password);
    }
    return result;
}

} // namespace valmora::net
