#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace orvane::model {

// A small "key = value" file held as two views kept in step: the settings by
// key, and every line of the file as it was (comments and blank lines too),
// so that one setting can be rewritten without disturbing the rest.
//
// Format: one byte per character; a line whose first non-blank character is
// "#" is a comment; otherwise the text before the first "=" is the key and the
// text between the first and a possible second "=" is the value, both cut of
// blanks. The first line of a key wins. A line that starts with "=" makes the
// whole file unreadable (std::out_of_range).
class Properties {
public:
    // Value and the index of its line in lines().
    using Entry = std::pair<std::wstring, std::size_t>;

    // An unreadable or missing file gives an empty object.
    static Properties load(const std::string& path);
    // Same rules over text already in memory.
    static Properties parse(const std::string& bytes);

    // The value, or an empty string for an unknown key (exact, case-sensitive).
    const std::wstring& get(const std::wstring& key) const;
    void add(const std::wstring& key, const std::wstring& value);
    // Takes over every setting of `other`: a known key gets the other's value
    // and the other's line in place of its own; a new key is appended.
    void merge(const Properties& other);

    // Writes every line, each ended by a line end, replacing the file at once.
    // An existing file keeps its mode and owner (the installer's configuration
    // is read by every user of the computer); a new one is readable by all.
    // A file that cannot be written is left as it was, silently.
    void save(const std::string& path) const;
    std::string text() const;

    const std::map<std::wstring, Entry>& entries() const { return entries_; }
    const std::vector<std::wstring>& lines() const { return lines_; }

private:
    std::map<std::wstring, Entry> entries_;
    std::vector<std::wstring> lines_;
};

} // namespace orvane::model
