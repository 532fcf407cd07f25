#include "model/identity/KeyPairName.h"

#include <array>
#include <cstdint>
#include <random>

namespace orvane::model {

std::wstring newKeyPairName()
{
    std::random_device source("/dev/urandom");
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        const std::uint32_t value = source();
        for (std::size_t j = 0; j < 4; ++j)
            bytes[i + j] = static_cast<std::uint8_t>(value >> (8 * j));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);

    static const wchar_t digits[] = L"0123456789abcdef";
    std::wstring name = L"Orvane.";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            name += L'-';
        name += digits[bytes[i] >> 4];
        name += digits[bytes[i] & 0x0F];
    }
    return name;
}

} // namespace orvane::model
