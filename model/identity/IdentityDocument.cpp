#include "model/identity/IdentityDocument.h"

#include "model/identity/BaseException.h"
#include "config/AtomicFile.h"

#include <sstream>

namespace orvane::model {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n';
}

// The document is read with the parser's default options, which drop a text
// made only of blanks and turn "\r\n" and "\r" into "\n". So that every text
// the agent writes still reads back exactly, the writer's output spells such
// characters as character references, which the parser takes literally:
// every carriage return (the writer leaves them raw in texts; attributes
// and indentation never hold one), and each blank of a text that is only
// blanks, that is, blanks between an opening tag and the closing one.
// Both are rare, so the text is only copied when one is found.
std::string protectTexts(std::string saved)
{
    for (std::size_t at = saved.find('\r'); at != std::string::npos; at = saved.find('\r', at))
        saved.replace(at, 1, "&#13;");
    std::string out;
    std::size_t done = 0;
    for (std::size_t at = saved.find('>'); at != std::string::npos; at = saved.find('>', at + 1)) {
        // The end of an opening tag (not "</", "<?", "<!" or "/>")...
        const std::size_t tagStart = saved.rfind('<', at);
        const char kind = tagStart == std::string::npos ? '/' : saved[tagStart + 1];
        if (kind == '/' || kind == '?' || kind == '!' || saved[at - 1] == '/')
            continue;
        // ...followed by blanks alone up to a closing tag.
        std::size_t end = at + 1;
        while (end < saved.size() && isBlank(saved[end]))
            ++end;
        if (end == at + 1 || saved.compare(end, 2, "</") != 0)
            continue;
        out.append(saved, done, at + 1 - done);
        for (std::size_t k = at + 1; k < end; ++k)
            out += "&#" + std::to_string(static_cast<int>(saved[k])) + ";";
        done = end;
        at = end - 1;
    }
    if (done == 0)
        return saved;
    out.append(saved, done, std::string::npos);
    return out;
}

void requireParsed(const pugi::xml_parse_result& result)
{
    if (!result)
        throw BaseException(std::string("Erro ao carregar arquivo de configuração: ") + result.description());
}

} // namespace

void loadIdentityDocument(pugi::xml_document& document, const std::string& path)
{
    requireParsed(document.load_file(path.c_str()));
}

void parseIdentityDocument(pugi::xml_document& document, const std::string& bytes)
{
    requireParsed(document.load_buffer(bytes.data(), bytes.size()));
}

bool identityDocumentParses(const std::string& path)
{
    pugi::xml_document document;
    return static_cast<bool>(document.load_file(path.c_str()));
}

std::string identityDocumentText(const pugi::xml_document& document)
{
    std::ostringstream text;
    document.save(text, "\t", pugi::format_default, pugi::encoding_utf8);
    return protectTexts(text.str());
}

bool saveIdentityDocument(const pugi::xml_document& document, const std::string& path)
{
    return writeFileAtomically(path, identityDocumentText(document));
}

} // namespace orvane::model
