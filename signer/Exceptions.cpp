#include "signer/Exceptions.h"

#include "signer/NarrowConverter.h"

#include <utility>

namespace valmora::signer {

namespace {

std::string withFunctionName(std::string text, const std::string& functionName)
{
    if (!functionName.empty())
        text += " (" + functionName + ")";
    return text;
}

std::string trimmed(const std::string& text)
{
    static const char* const blanks = " \t\r\n\v\f";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    const auto last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

} // namespace

BaseException::BaseException(std::string text) : text_(std::move(text)) {}

const char* BaseException::what() const noexcept { return text_.c_str(); }

#define VALMORA_SIGNER_EXCEPTION_BODY(Name, prefix) \
    Name::Name(const std::string& text) : BaseException(prefix + text) {}

VALMORA_SIGNER_EXCEPTION_BODY(CertificateAdditionException, "Error at adding certificate: ")
VALMORA_SIGNER_EXCEPTION_BODY(CertificateNotFoundException, "Certificate not found: ")
VALMORA_SIGNER_EXCEPTION_BODY(CertificateSearchingException,
                              "Error while searching certificates at repository: ")
VALMORA_SIGNER_EXCEPTION_BODY(DecryptionException, "Error at decrypting: ")
VALMORA_SIGNER_EXCEPTION_BODY(KeyPairGenerationException, "Error during key pair generation: ")
VALMORA_SIGNER_EXCEPTION_BODY(SignatureException, "Error at signing: ")
VALMORA_SIGNER_EXCEPTION_BODY(RepositoryAccessException, "Error while doing login at repository: ")
VALMORA_SIGNER_EXCEPTION_BODY(SerializationException, "Error while serializing: ")

#undef VALMORA_SIGNER_EXCEPTION_BODY

CapiException::CapiException(const std::string& systemText, const std::string& functionName)
    : text_(withFunctionName(trimmed(systemText), functionName))
{
}

CapiException::CapiException(const std::wstring& systemText, const std::string& functionName)
    : CapiException(narrowConverter.to_bytes(systemText), functionName)
{
}

const char* CapiException::what() const noexcept { return text_.c_str(); }

ArchiveException::ArchiveException(const std::string& text, const std::string& functionName)
    : text_(withFunctionName(text, functionName))
{
}

const char* ArchiveException::what() const noexcept { return text_.c_str(); }

} // namespace valmora::signer
