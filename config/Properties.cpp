#include "config/Properties.h"

#include "config/AtomicFile.h"
#include "config/TextCodec.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace orvane::model {

Properties Properties::load(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return {};
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return parse(bytes.str());
}

Properties Properties::parse(const std::string& bytes)
{
    Properties result;
    std::istringstream in(bytes);
    std::string raw;
    while (std::getline(in, raw)) {
        std::wstring line = boost::algorithm::trim_copy(widenBytes(raw));
        result.lines_.push_back(line);
        const std::size_t index = result.lines_.size() - 1;
        if (line.empty())
            continue;

        std::vector<std::wstring> tokens;
        boost::algorithm::split(tokens, line, boost::algorithm::is_any_of(L"="));
        // A line that starts with "=" has no key at all: such a file is
        // rejected as a whole rather than read half.
        if (tokens.front().empty())
            throw std::out_of_range("invalid string position");
        if (tokens.front().front() == L'#' || tokens.size() < 2)
            continue;
        std::wstring key = boost::algorithm::trim_copy(tokens[0]);
        std::wstring value = boost::algorithm::trim_copy(tokens[1]);
        result.entries_.emplace(std::move(key), Entry(std::move(value), index));
    }
    return result;
}

const std::wstring& Properties::get(const std::wstring& key) const
{
    static const std::wstring empty;
    auto found = entries_.find(key);
    return found == entries_.end() ? empty : found->second.first;
}

void Properties::add(const std::wstring& key, const std::wstring& value)
{
    std::wstring k = boost::algorithm::trim_copy(key);
    std::wstring v = boost::algorithm::trim_copy(value);
    entries_[k] = Entry(v, lines_.size());
    lines_.push_back(k + L" = " + v);
}

void Properties::merge(const Properties& other)
{
    for (const auto& [key, entry] : other.entries_) {
        const std::wstring& otherLine = other.lines_.at(entry.second);
        auto found = entries_.find(key);
        if (found != entries_.end()) {
            found->second.first = entry.first;
            lines_.at(found->second.second) = otherLine;
        } else {
            entries_.emplace(key, Entry(entry.first, lines_.size()));
            lines_.push_back(otherLine);
        }
    }
}

std::string Properties::text() const
{
    std::string out;
    for (const std::wstring& line : lines_) {
        out += narrowBytes(line);
        out += '\n';
    }
    return out;
}

void Properties::save(const std::string& path) const
{
    rewriteFileAtomically(path, text(), 0644);
}

} // namespace orvane::model
