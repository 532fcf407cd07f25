// The process-wide credential buffers and the terminal prompt.

#include "net/ProxyCredentials.h"
#include "net/TerminalCredentialPrompt.h"
#include "tests/net/NetTestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>

using namespace orvane::test;
using namespace valmora::net;

class CredentialBuffers : public NetworkTest {};

TEST_F(CredentialBuffers, WipeZeroesAByteForEachCharacterAndReadsEmpty)
{
    storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, L"abcdefgh");
    wipeProxyCredential(proxyPasswordBuffer);
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer), L"");
    // Eight characters are sixteen bytes; eight of them are zeroed.
    EXPECT_EQ(proxyPasswordBuffer[3], u'\0');
    EXPECT_EQ(proxyPasswordBuffer[4], u'e');
    EXPECT_EQ(proxyPasswordBuffer[7], u'h');
}

TEST_F(CredentialBuffers, TextIsCutToTheBufferAndKeepsCharactersBeyondSixteenBits)
{
    storeProxyCredential(proxyUserBuffer, proxyUserBufferSize, std::wstring(600, L'u'));
    EXPECT_EQ(proxyCredentialText(proxyUserBuffer).size(), 513u);
    storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, std::wstring(300, L'p'));
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer).size(), 256u);
    storeProxyCredential(proxyPasswordBuffer, proxyPasswordBufferSize, L"s\u00e9nha\U0001F511");
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer), L"s\u00e9nha\U0001F511");
}

TEST_F(CredentialBuffers, PromptFillsBothBuffersOnlyWhenConfirmed)
{
    auto prompt = std::make_shared<ScriptedPrompt>(
        std::deque<ScriptedPrompt::Answer>{{0, L"agent", L"s3cret"}, {1, L"other", L"typed"}});
    PromptScope scope(prompt);
    EXPECT_EQ(promptProxyCredentials(), 0);
    EXPECT_EQ(proxyCredentialText(proxyUserBuffer), L"agent");
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer), L"s3cret");
    EXPECT_NE(promptProxyCredentials(), 0);
    // A cancelled prompt has cleared the first four characters and typed
    // nothing in.
    EXPECT_EQ(proxyCredentialText(proxyUserBuffer), L"");
    EXPECT_EQ(proxyCredentialText(proxyPasswordBuffer), L"");
}

TEST(TerminalPrompt, CancelsWithoutATerminal)
{
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    ASSERT_EQ(::write(pipeEnds[1], "agent\nsecret\n", 13), 13);
    std::FILE* output = std::tmpfile();
    TerminalCredentialPrompt prompt(pipeEnds[0], output);
    std::wstring user = L"before";
    std::wstring password;
    EXPECT_NE(prompt.ask(user, password), 0);
    EXPECT_EQ(user, L"before");
    std::fclose(output);
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
}

TEST(TerminalPrompt, AsksOnATerminalWithThePasswordUnechoed)
{
    int controller = -1;
    int terminal = -1;
    ASSERT_EQ(::openpty(&controller, &terminal, nullptr, nullptr, nullptr), 0);
    const std::string typed = "agent\ns\xC3\xA9nha\n";
    ASSERT_EQ(::write(controller, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    std::FILE* output = std::tmpfile();
    TerminalCredentialPrompt prompt(terminal, output);
    std::wstring user;
    std::wstring password;
    EXPECT_EQ(prompt.ask(user, password), 0);
    EXPECT_EQ(user, L"agent");
    EXPECT_EQ(password, L"s\u00e9nha");

    termios after{};
    ASSERT_EQ(::tcgetattr(terminal, &after), 0);
    EXPECT_NE(after.c_lflag & ECHO, 0u);

    std::rewind(output);
    char shown[512] = {};
    const std::size_t length = std::fread(shown, 1, sizeof shown - 1, output);
    const std::string text(shown, length);
    EXPECT_NE(text.find("Kestrel\nEntre com a conta do usu\xC3\xAF\xC2\xBF\xC2\xBDrio\n"), std::string::npos);
    std::fclose(output);
    ::close(terminal);
    ::close(controller);
}
