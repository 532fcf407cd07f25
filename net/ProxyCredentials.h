#pragma once

#include <cstddef>
#include <string>

namespace valmora::net {

// What the user typed at the last proxy credential prompt, kept for the whole
// run so that the next client does not ask again. Two bytes a character, as
// the prompt has always filled them; a buffer whose first character is zero
// counts as empty. Shared by every thread without a lock: clients on
// different tasks do not run prompts at the same time.
constexpr std::size_t proxyUserBufferSize = 514;
constexpr std::size_t proxyPasswordBufferSize = 257;
extern char16_t proxyUserBuffer[proxyUserBufferSize];
extern char16_t proxyPasswordBuffer[proxyPasswordBufferSize];

// Zeroes as many bytes as the buffer holds characters. That is enough to make
// it read as empty, which is all a wipe has to achieve.
void wipeProxyCredential(char16_t* buffer);

// The buffer's text up to its terminator, and the reverse (cut to fit the
// buffer, terminator included).
std::wstring proxyCredentialText(const char16_t* buffer);
void storeProxyCredential(char16_t* buffer, std::size_t size, const std::wstring& text);

// Runs the installed prompt into the two buffers. The first eight bytes of
// each are zeroed before it; 0 means the person confirmed.
int promptProxyCredentials();

} // namespace valmora::net
