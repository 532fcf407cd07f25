// A PKCS#12 archive opened by the archive repository: the first byte picks
// one of the passwords of the seed archives, the rest is the archive.
#include "signer/ArchiveRepository.h"
#include "signer/Exceptions.h"

#include <cstdint>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace valmora::signer;
    if (size == 0)
        return 0;
    static const wchar_t* const passwords[] = {L"", L"1234", L"associacao"};
    std::istringstream content(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    try {
        ArchiveRepository archive(content);
        archive.login(passwords[data[0] % 3]);
        const Certificate held = archive.certificate();
        archive.visitCertificates(AllFilter, [](const Certificate& certificate) {
            certificate.detail();
            return Then::Continue;
        });
        if (!held.isNull())
            archive.privateKeyOf(held);
    } catch (const BaseException&) {
        // Not an archive, a wrong password, or a key that is not the
        // certificate's: each is a repository failure with its text.
    }
    return 0;
}
