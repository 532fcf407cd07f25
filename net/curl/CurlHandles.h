#pragma once

#include <curl/curl.h>

#include <memory>

namespace valmora::net {

// Owners of libcurl's handles, each with the library's own release function.
struct CurlEasyCleanup {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct CurlSlistFree {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

using CurlEasyPtr = std::unique_ptr<CURL, CurlEasyCleanup>;
using CurlSlistPtr = std::unique_ptr<curl_slist, CurlSlistFree>;

} // namespace valmora::net
