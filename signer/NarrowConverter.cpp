#include "signer/NarrowConverter.h"

#include <codecvt>

namespace valmora::signer {

namespace {

using WideNarrowFacet = usable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>>;
using Converter = std::wstring_convert<WideNarrowFacet>;

Converter& threadConverter()
{
    // UTF-8 whatever the user's locale says: file names, JSON and OpenSSL all
    // expect it, and "C.UTF-8" is always present in glibc.
    thread_local Converter converter(new WideNarrowFacet("C.UTF-8"));
    return converter;
}

} // namespace

const NarrowConverter narrowConverter{};

std::string NarrowConverter::to_bytes(const std::wstring& wide) const
{
    return threadConverter().to_bytes(wide);
}

std::wstring NarrowConverter::from_bytes(const std::string& narrow) const
{
    return threadConverter().from_bytes(narrow);
}

} // namespace valmora::signer
