#pragma once

#include <exception>
#include <string>

namespace orvane::model {

// Root of the identity model's failures. The message is narrow UTF-8 text
// that the presentation layer shows as it stands.
class BaseException : public std::exception {
public:
    explicit BaseException(std::string message);
    const char* what() const noexcept override;
    const std::string& message() const { return message_; }

private:
    std::string message_;
};

} // namespace orvane::model
