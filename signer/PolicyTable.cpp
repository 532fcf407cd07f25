#include "signer/PolicyTable.h"

#include "signer/NarrowConverter.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace valmora::signer {

namespace {

std::vector<std::wstring> arcs(const std::wstring& oid)
{
    std::vector<std::wstring> parts;
    std::wstring::size_type start = 0;
    while (true) {
        const auto dot = oid.find(L'.', start);
        parts.push_back(oid.substr(start, dot - start));
        if (dot == std::wstring::npos)
            break;
        start = dot + 1;
    }
    return parts;
}

// An arc as a signed 16-bit number; nothing when it is no such number.
std::optional<std::int16_t> arcNumber(const std::wstring& arc)
{
    if (arc.empty() || arc.size() > 6)
        return std::nullopt;
    long value = 0;
    std::size_t i = 0;
    const bool negative = arc[0] == L'-';
    if (negative || arc[0] == L'+')
        i = 1;
    if (i == arc.size())
        return std::nullopt;
    for (; i < arc.size(); ++i) {
        if (arc[i] < L'0' || arc[i] > L'9')
            return std::nullopt;
        value = value * 10 + (arc[i] - L'0');
    }
    if (negative)
        value = -value;
    if (value < INT16_MIN || value > INT16_MAX)
        return std::nullopt;
    return static_cast<std::int16_t>(value);
}

} // namespace

bool oidLess(const std::wstring& left, const std::wstring& right)
{
    const std::vector<std::wstring> a = arcs(left);
    const std::vector<std::wstring> b = arcs(right);
    std::size_t i = 0;
    for (; i < a.size() && i < b.size(); ++i) {
        if (a[i] == b[i])
            continue;
        const auto x = arcNumber(a[i]);
        const auto y = arcNumber(b[i]);
        if (!x || !y)
            return true;
        return *x < *y;
    }
    return a.size() < b.size();
}

std::wstring policyDescription(const std::string& oid)
{
    const std::wstring wide = narrowConverter.from_bytes(oid);
    const PolicyRow* begin = policyTable;
    const PolicyRow* end = policyTable + policyTableSize;
    const PolicyRow* found = std::lower_bound(begin, end, wide, [](const PolicyRow& row, const std::wstring& key) {
        return oidLess(row.oid, key);
    });
    if (found != end && wide == found->oid && found->description[0] != L'\0')
        return found->description;
    return L"(" + wide + L")";
}

} // namespace valmora::signer
