#pragma once

#include <exception>
#include <string>

namespace valmora::signer {

// Root of the signer's failures. Every class keeps one finished text and
// hands it back from what(); copies carry the same text, and layers that
// translate a failure build a new exception from the caught one's what().
class BaseException : public std::exception {
public:
    explicit BaseException(std::string text);
    const char* what() const noexcept override;

private:
    std::string text_;
};

// Each class below puts its fixed prefix before the text it is given; the
// prefix keeps its trailing blank even when the text is empty.
#define VALMORA_SIGNER_EXCEPTION(Name)                 \
    class Name : public BaseException {                \
    public:                                            \
        explicit Name(const std::string& text);        \
    }

VALMORA_SIGNER_EXCEPTION(CertificateAdditionException);
VALMORA_SIGNER_EXCEPTION(CertificateNotFoundException);
VALMORA_SIGNER_EXCEPTION(CertificateSearchingException);
VALMORA_SIGNER_EXCEPTION(DecryptionException);
VALMORA_SIGNER_EXCEPTION(KeyPairGenerationException);
VALMORA_SIGNER_EXCEPTION(SignatureException);
VALMORA_SIGNER_EXCEPTION(RepositoryAccessException);
VALMORA_SIGNER_EXCEPTION(SerializationException);

#undef VALMORA_SIGNER_EXCEPTION

// A failed platform store call. Stands outside BaseException on purpose: a
// repository catches it at its border and rethrows it as its operation's
// class. The text is the system message trimmed at both ends, then
// " (functionName)" when a name is given.
class CapiException : public std::exception {
public:
    CapiException(const std::string& systemText, const std::string& functionName);
    CapiException(const std::wstring& systemText, const std::string& functionName);
    const char* what() const noexcept override;

private:
    std::string text_;
};

// A failed OpenSSL call inside an archive operation; also outside
// BaseException, for the same reason. The text is the given one, then
// " (functionName)" when a name is given.
class ArchiveException : public std::exception {
public:
    ArchiveException(const std::string& text, const std::string& functionName);
    const char* what() const noexcept override;

private:
    std::string text_;
};

} // namespace valmora::signer
