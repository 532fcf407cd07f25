#include "signer/StdStreamAdapter.h"

#include <openssl/bio.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>

namespace valmora::signer {

namespace {

struct Streams {
    std::istream* input = nullptr;
    std::ostream* output = nullptr;
};

Streams* streamsOf(BIO* bio) { return static_cast<Streams*>(BIO_get_data(bio)); }

int streamWrite(BIO* bio, const char* buffer, int length)
{
    Streams* streams = streamsOf(bio);
    if (!buffer || !streams || !streams->output || length < 0)
        return -1;
    streams->output->write(buffer, length);
    if (streams->output->fail())
        return -1;
    return length;
}

int streamRead(BIO* bio, char* buffer, int size)
{
    Streams* streams = streamsOf(bio);
    if (!buffer || !streams || !streams->input || size < 0)
        return -1;
    streams->input->read(buffer, size);
    return static_cast<int>(streams->input->gcount());
}

int streamPuts(BIO* bio, const char* text)
{
    if (!text)
        return -1;
    return streamWrite(bio, text, static_cast<int>(std::strlen(text)));
}

int streamGets(BIO* bio, char* buffer, int size)
{
    if (!buffer || size <= 0)
        return -1;
    // One byte is kept for the terminating zero that a gets caller relies on.
    const int count = streamRead(bio, buffer, size - 1);
    if (count < 0)
        return -1;
    buffer[count] = '\0';
    return std::min(count, static_cast<int>(std::strlen(buffer)));
}

long streamControl(BIO* bio, int command, long, void* pointer)
{
    Streams* streams = streamsOf(bio);
    if (!streams)
        return 0;
    switch (command) {
    case stdStreamSetInputControl:
        streams->input = static_cast<std::istream*>(pointer);
        return 1;
    case stdStreamSetOutputControl:
        streams->output = static_cast<std::ostream*>(pointer);
        BIO_set_init(bio, 1);
        return 1;
    case BIO_CTRL_FLUSH:
        if (streams->output)
            streams->output->flush();
        return 1;
    default:
        return 0;
    }
}

int streamCreate(BIO* bio)
{
    auto* streams = new (std::nothrow) Streams();
    if (!streams)
        return 0;
    BIO_set_data(bio, streams);
    return 1;
}

int streamDestroy(BIO* bio)
{
    if (!bio)
        return 0;
    delete streamsOf(bio);
    BIO_set_data(bio, nullptr);
    BIO_set_init(bio, 0);
    return 1;
}

using BioMethodPtr = OpenSslPtr<BIO_METHOD, BIO_meth_free>;

BioMethodPtr makeMethod()
{
    BioMethodPtr method(BIO_meth_new(stdStreamAdapterType, "std_stream_adapter"));
    if (!method)
        return method;
    BIO_meth_set_write(method.get(), streamWrite);
    BIO_meth_set_read(method.get(), streamRead);
    BIO_meth_set_puts(method.get(), streamPuts);
    BIO_meth_set_gets(method.get(), streamGets);
    BIO_meth_set_ctrl(method.get(), streamControl);
    BIO_meth_set_create(method.get(), streamCreate);
    BIO_meth_set_destroy(method.get(), streamDestroy);
    return method;
}

} // namespace

const BIO_METHOD* stdStreamAdapterMethod()
{
    static const BioMethodPtr method = makeMethod();
    return method.get();
}

BioPtr newStdStreamBio(std::istream* input, std::ostream* output)
{
    const BIO_METHOD* method = stdStreamAdapterMethod();
    if (!method)
        return nullptr;
    BioPtr bio(BIO_new(method));
    if (!bio)
        return nullptr;
    BIO_ctrl(bio.get(), stdStreamSetInputControl, 0, input);
    BIO_ctrl(bio.get(), stdStreamSetOutputControl, 0, output);
    return bio;
}

} // namespace valmora::signer
