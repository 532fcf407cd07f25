#include "model/identity/IdentityDocument.h"

#include "model/identity/BaseException.h"
#include "config/AtomicFile.h"

#include <sstream>

namespace orvane::model {

namespace {

// Default parsing with two changes so that every text the writer puts out
// reads back exactly: a text made only of blanks is kept when it is an
// element's only content (instead of reading as empty), and line ends are
// left alone (the writer does not escape a carriage return in text, so
// normalising them would turn "\r\n" into "\n").
constexpr unsigned kParseOptions = (pugi::parse_default | pugi::parse_ws_pcdata_single) & ~pugi::parse_eol;

void requireParsed(const pugi::xml_parse_result& result)
{
    if (!result)
        throw BaseException(std::string("Erro ao carregar arquivo de configuração: ") + result.description());
}

} // namespace

void loadIdentityDocument(pugi::xml_document& document, const std::string& path)
{
    requireParsed(document.load_file(path.c_str(), kParseOptions));
}

void parseIdentityDocument(pugi::xml_document& document, const std::string& bytes)
{
    requireParsed(document.load_buffer(bytes.data(), bytes.size(), kParseOptions));
}

bool identityDocumentParses(const std::string& path)
{
    pugi::xml_document document;
    return static_cast<bool>(document.load_file(path.c_str(), kParseOptions));
}

std::string identityDocumentText(const pugi::xml_document& document)
{
    std::ostringstream text;
    document.save(text, "\t", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

bool saveIdentityDocument(const pugi::xml_document& document, const std::string& path)
{
    return writeFileAtomically(path, identityDocumentText(document));
}

} // namespace orvane::model
