#pragma once

#include <cstdint>
#include <string>

namespace orvane::model {

// The unit in which the user sees and removes keys: a paired phone (Device)
// or the cloud wallet of a Harrier account (Wallet). Groups are always owned
// and destroyed through a shared pointer of their concrete type, so the
// destructor is not part of the interface.
class KeyGroup {
public:
    enum Type : std::int32_t { Cloud = 0, Smartphone = 1 };

    // Display name; the screens address a group by it.
    virtual std::wstring name() const = 0;
    // This computer's code at the group's service.
    virtual std::wstring installationCode() const = 0;
    virtual std::wstring authenticationMode() const = 0;
    virtual void setAuthenticationMode(const std::wstring& mode) = 0;
    virtual std::int32_t type() const = 0;

protected:
    KeyGroup() = default;
    KeyGroup(const KeyGroup&) = default;
    KeyGroup& operator=(const KeyGroup&) = default;
    ~KeyGroup() = default;
};

} // namespace orvane::model
