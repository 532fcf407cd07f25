#include "signer/Encoding.h"

#include "signer/Exceptions.h"
#include "signer/OpenSslPtr.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <sstream>
#include <stdexcept>

namespace valmora::signer {

void initialiseOpenSsl()
{
    static std::once_flag initialised;
    std::call_once(initialised, [] {
        OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_ADD_ALL_CIPHERS
                                | OPENSSL_INIT_ADD_ALL_DIGESTS,
                            nullptr);
    });
}

void checkOpenSsl(bool failed, const std::string& functionName, const std::string& fallbackText)
{
    if (!failed)
        return;
    const unsigned long code = ERR_get_error();
    if (code == 0)
        throw ArchiveException(fallbackText, functionName);
    char text[512];
    ERR_error_string_n(code, text, sizeof text);
    ERR_clear_error();
    throw ArchiveException(text, functionName);
}

namespace {

const char base64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr unsigned char notBase64 = 0xFF;

std::array<unsigned char, 256> makeDecodeTable()
{
    std::array<unsigned char, 256> table{};
    table.fill(notBase64);
    for (unsigned char i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(base64Alphabet[i])] = i;
    return table;
}

} // namespace

std::string base64Encode(Bytes& bytes)
{
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const unsigned long group = (bytes[i] << 16) | (bytes[i + 1] << 8) | bytes[i + 2];
        out += base64Alphabet[(group >> 18) & 63];
        out += base64Alphabet[(group >> 12) & 63];
        out += base64Alphabet[(group >> 6) & 63];
        out += base64Alphabet[group & 63];
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        unsigned long group = static_cast<unsigned long>(bytes[i]) << 16;
        if (rest == 2)
            group |= static_cast<unsigned long>(bytes[i + 1]) << 8;
        out += base64Alphabet[(group >> 18) & 63];
        out += base64Alphabet[(group >> 12) & 63];
        out += rest == 2 ? base64Alphabet[(group >> 6) & 63] : '=';
        out += '=';
    }
    Bytes().swap(bytes);
    return out;
}

std::string base64Encode(Bytes&& bytes) { return base64Encode(bytes); }

Bytes base64Decode(std::string& text)
{
    static const std::array<unsigned char, 256> table = makeDecodeTable();

    // Padding is not validated by position: each "=" is read as "A" (six
    // zero bits) and then accounted for by dropping one byte at the end.
    const auto padding = static_cast<std::size_t>(std::count(text.begin(), text.end(), '='));

    Bytes out;
    out.reserve(text.size() / 4 * 3 + 2);
    unsigned long bits = 0;
    int bitCount = 0;
    for (const char c : text) {
        const unsigned char value = c == '=' ? 0 : table[static_cast<unsigned char>(c)];
        if (value == notBase64)
            throw std::invalid_argument("attempt to decode a value not in base64 char set");
        bits = ((bits << 6) | value) & 0xFFFFFF;
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            out.push_back(static_cast<unsigned char>(bits >> bitCount));
        }
    }
    out.resize(out.size() > padding ? out.size() - padding : 0);
    std::string().swap(text);
    return out;
}

Bytes base64Decode(std::string&& text) { return base64Decode(text); }

Bytes digest(const Bytes& bytes, const std::string& hashName)
{
    static std::once_flag initialised;
    std::call_once(initialised, [] { OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr); });

    const EVP_MD* method = hashName.empty() ? EVP_md_null() : EVP_get_digestbyname(hashName.c_str());
    if (!method)
        throw SignatureException("Invalid option for hash");

    EvpMdCtxPtr context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), method, nullptr) != 1)
        throw SignatureException("Cannot start digest process (EVP_DigestInit)");
    if (EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()) != 1)
        throw SignatureException("Cannot digest data (EVP_DigestUpdate)");
    unsigned char buffer[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), buffer, &length) != 1)
        throw SignatureException("Cannot finalize digest (EVP_DigestFinal)");
    return Bytes(buffer, buffer + length);
}

std::string normalizeFingerprint(const std::string& text)
{
    std::string compact;
    compact.reserve(text.size());
    for (const char c : text) {
        if (c == ' ' || c == ':')
            continue;
        // Classic-locale lower case: only A-Z change.
        compact += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    }
    std::string out;
    out.reserve(compact.size() + compact.size() / 2);
    for (std::size_t i = 0; i < compact.size(); ++i) {
        if (i > 0 && i % 2 == 0)
            out += ' ';
        out += compact[i];
    }
    return out;
}

Bytes fingerprintBytes(const std::string& text)
{
    std::istringstream in(text);
    Bytes out;
    out.reserve(20);
    for (int i = 0; i < 20; ++i) {
        std::string token;
        if (!(in >> token) || token.size() > 2
            || token.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            throw std::invalid_argument("Invalid fingerprint: " + text);
        out.push_back(static_cast<unsigned char>(std::stoul(token, nullptr, 16)));
    }
    std::string extra;
    if (in >> extra)
        throw std::invalid_argument("Invalid fingerprint: " + text);
    return out;
}

std::string hexWithBlanks(const unsigned char* bytes, std::size_t length)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(length * 3);
    for (std::size_t i = 0; i < length; ++i) {
        if (i > 0)
            out += ' ';
        out += digits[bytes[i] >> 4];
        out += digits[bytes[i] & 15];
    }
    return out;
}

std::string hexWithBlanks(const Bytes& bytes) { return hexWithBlanks(bytes.data(), bytes.size()); }

} // namespace valmora::signer
