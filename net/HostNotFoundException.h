#pragma once

#include <exception>
#include <string>

namespace valmora::net {

// The server behind a URL could not be reached, or the user gave up on the
// proxy's credentials. The text is the wide text it was built from, in UTF-8,
// followed by ": Unreachable", so what() always ends in those words.
class HostNotFoundException : public std::exception {
public:
    explicit HostNotFoundException(const std::wstring& text);
    ~HostNotFoundException() override;
    const char* what() const noexcept override;

private:
    std::string text_;
};

} // namespace valmora::net
