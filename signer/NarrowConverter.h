#pragma once

#include <cwchar>
#include <locale>
#include <string>
#include <utility>

namespace valmora::signer {

// The standard conversion facets have protected destructors, so a converter
// cannot own one directly; this adapter only makes the destructor public.
template <class Facet>
struct usable_facet : Facet {
    template <class... Args>
    explicit usable_facet(Args&&... args) : Facet(std::forward<Args>(args)...)
    {
    }
    ~usable_facet() override = default;
};

// Conversion between the wide texts that the identity document holds and the
// narrow UTF-8 texts of messages, JSON and OpenSSL. Text that cannot be
// converted raises std::range_error.
//
// The standard converter keeps conversion state, so each thread gets its
// own instance behind this one process-wide object: workers on pool threads
// and the GUI thread may convert at the same time without a lock.
class NarrowConverter {
public:
    std::string to_bytes(const std::wstring& wide) const;
    std::wstring from_bytes(const std::string& narrow) const;
};

extern const NarrowConverter narrowConverter;

} // namespace valmora::signer
