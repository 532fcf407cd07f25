#include "net/HttpClientDownloader.h"

#include "net/HttpClientDownloaderImpl.h"

namespace valmora::net {

HttpClientDownloader::HttpClientDownloader(const std::wstring& url)
    : HttpClientDownloader(url, defaultTimeout)
{
}

HttpClientDownloader::HttpClientDownloader(const std::wstring& url, std::uint32_t timeoutMilliseconds)
    : impl_(std::make_shared<HttpClientDownloaderImpl>(this, url, timeoutMilliseconds, true))
{
}

bool HttpClientDownloader::isInvalid() const
{
    return impl_->isInvalid();
}

void HttpClientDownloader::setMethod(int method)
{
    impl_->setMethod(method);
}

void HttpClientDownloader::addAccept(const std::wstring& type)
{
    impl_->addAccept(type);
}

void HttpClientDownloader::setContentType(const std::wstring& value)
{
    impl_->setHeader(L"Content-Type", value);
}

void HttpClientDownloader::setIfModifiedSince(const std::wstring& value)
{
    impl_->setHeader(L"If-Modified-Since", value);
}

void HttpClientDownloader::setAuthorization(const std::wstring& value)
{
    impl_->setHeader(L"Authorization", value);
}

void HttpClientDownloader::setBody(const signer::Bytes& body)
{
    impl_->setBody(body);
}

std::istream& HttpClientDownloader::openStream(const std::wstring& subPath)
{
    return impl_->openStream(subPath);
}

HttpResponseInfo HttpClientDownloader::responseInfo()
{
    return impl_->responseInfo();
}

} // namespace valmora::net
