#pragma once

#include <cstdlib>
#include <string>
#include <utility>

namespace orvane::test {

// Sets an environment variable (or removes it, given no value) and puts the
// old value back when it goes.
class EnvironmentScope {
public:
    EnvironmentScope(std::string name, const char* value) : name_(std::move(name))
    {
        const char* old = std::getenv(name_.c_str());
        had_ = old != nullptr;
        if (had_)
            old_ = old;
        value ? ::setenv(name_.c_str(), value, 1) : ::unsetenv(name_.c_str());
    }
    ~EnvironmentScope() { had_ ? ::setenv(name_.c_str(), old_.c_str(), 1) : ::unsetenv(name_.c_str()); }
    EnvironmentScope(const EnvironmentScope&) = delete;
    EnvironmentScope& operator=(const EnvironmentScope&) = delete;

private:
    std::string name_;
    bool had_ = false;
    std::string old_;
};

} // namespace orvane::test
