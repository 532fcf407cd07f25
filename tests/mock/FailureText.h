#pragma once

#include <string>

namespace orvane::test {

// The text of the exception of type E that `action` throws, or
// "<no exception>".
template <class E, class F>
std::string failureOf(F&& action)
{
    try {
        action();
    } catch (const E& error) {
        return error.what();
    }
    return "<no exception>";
}

} // namespace orvane::test
