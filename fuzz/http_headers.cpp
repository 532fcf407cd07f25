// The header block of an answer, one line at a time as libcurl hands it
// over: the freshness that Cache-Control grants, and the Last-Modified mark,
// which must come back unchanged from the identity document.
#include "model/catalogue/HierarchyCatalogue.h"
#include "model/identity/IdentityDocument.h"
#include "net/DocumentPosting.h"
#include "net/HttpClientDownloaderImpl.h"
#include "net/curl/CurlRequest.h"

#include <cstdint>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream block(std::string(reinterpret_cast<const char*>(data), size));
    std::string line;
    while (std::getline(block, line)) {
        std::string name;
        std::string value;
        if (!valmora::net::CurlRequest::splitHeaderLine(line + "\n", name, value))
            continue;
        const std::wstring text = valmora::net::HttpClientDownloaderImpl::headerValue(value);
        if (name == "cache-control") {
            std::int64_t seconds = -1;
            valmora::net::readFreshness(text, seconds);
        } else if (name == "last-modified") {
            orvane::model::HierarchyCatalogue catalogue;
            catalogue.lastModified = text;
            pugi::xml_document document;
            pugi::xml_node root = document.append_child("KestrelInstallation");
            catalogue.write(root);
            pugi::xml_document again;
            orvane::model::parseIdentityDocument(again, orvane::model::identityDocumentText(document));
            const auto read =
                orvane::model::HierarchyCatalogue::read(again.child("KestrelInstallation").child("Hierarchies"));
            if (read.lastModified != text)
                __builtin_trap();  // the mark would not survive a save
        }
    }
    return 0;
}
