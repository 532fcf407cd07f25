#pragma once

#include <pugixml.hpp>

#include <string>

namespace orvane::model {

// The file plumbing shared by the identity reader, the writer and the
// migration. The file is UTF-8 without a byte order mark, starts with an
// <?xml version="1.0"?> declaration and has one element per line, indented
// with tabs.

// Parses the file at `path` into `document`. Throws BaseException
// "Erro ao carregar arquivo de configuração: " followed by the parser's
// description when the file cannot be read or is no well-formed XML.
void loadIdentityDocument(pugi::xml_document& document, const std::string& path);
// The same over the file's bytes already in memory.
void parseIdentityDocument(pugi::xml_document& document, const std::string& bytes);

// Whether the file at `path` can be read and parses.
bool identityDocumentParses(const std::string& path);

// The document's text as it goes to disk.
std::string identityDocumentText(const pugi::xml_document& document);

// Replaces the file at `path` with the document at once: a crash leaves the
// old file or the new one, never a part. Returns false when nothing could be
// written, the old file then being untouched.
bool saveIdentityDocument(const pugi::xml_document& document, const std::string& path);

} // namespace orvane::model
