#include "tests/mock/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace orvane::test {

TempDir::TempDir()
{
    std::string pattern = (fs::temp_directory_path() / "orvane-test-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data()))
        throw std::runtime_error("mkdtemp failed");
    path_ = buffer.data();
}

TempDir::~TempDir()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string& relative) const
{
    return path_ + "/" + relative;
}

TempEnvironment::TempEnvironment()
{
    fs::create_directories(home() + "/.config");
    fs::create_directories(userDataFolder());
    fs::create_directories(commonDataFolder());
}

TempEnvironment::~TempEnvironment() = default;

void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out)
        throw std::runtime_error("cannot write " + path);
    out << text;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace orvane::test
