#pragma once

// An OpenSSL BIO over C++ streams ("std_stream_adapter"), so that OpenSSL can
// write a PKCS#12 straight into an std::ostream or read one from an
// std::istream.

#include "signer/OpenSslPtr.h"

#include <istream>
#include <ostream>

namespace valmora::signer {

constexpr int stdStreamAdapterType = 1074;       // a source/sink BIO of our own
constexpr int stdStreamSetInputControl = 1001;   // ptr: std::istream*
constexpr int stdStreamSetOutputControl = 1002;  // ptr: std::ostream*; marks the BIO initialised

// The method, created once per process.
const BIO_METHOD* stdStreamAdapterMethod();

// A BIO on the method with its streams set; either may be null. The streams
// must outlive the BIO. Null when OpenSSL cannot allocate it.
BioPtr newStdStreamBio(std::istream* input, std::ostream* output);

} // namespace valmora::signer
