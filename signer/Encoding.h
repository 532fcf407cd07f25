#pragma once

// Byte and text helpers shared by the whole signer layer: the bridge from a
// failed OpenSSL call to an exception, base64, digests and the hexadecimal
// forms of fingerprints and serial numbers.

#include <string>
#include <vector>

namespace valmora::signer {

using Bytes = std::vector<unsigned char>;

// Loads OpenSSL's error texts, ciphers and digests, once per process; every
// certificate and repository construction asks for it first.
void initialiseOpenSsl();

// Returns at once unless `failed`. Otherwise throws ArchiveException from the
// oldest entry of the thread's OpenSSL error queue (its full error string),
// or from `fallbackText` when the queue is empty; the rest of the queue is
// dropped so that it cannot be blamed on a later call.
void checkOpenSsl(bool failed, const std::string& functionName, const std::string& fallbackText = {});

// Standard alphabet, no line breaks, padded with "=". Consumes its input:
// the byte array is empty afterwards.
std::string base64Encode(Bytes& bytes);
std::string base64Encode(Bytes&& bytes);

// Lenient reverse of base64Encode. Every "=" anywhere counts: it is decoded
// as "A", and as many bytes as there were "=" are dropped from the end. Any
// other character outside the alphabet raises std::invalid_argument
// "attempt to decode a value not in base64 char set". Consumes its input.
Bytes base64Decode(std::string& text);
Bytes base64Decode(std::string&& text);

// Digest of `bytes` by OpenSSL digest name ("SHA256", "sha1"...). An empty
// name selects the null digest and yields no bytes, which callers take as
// "the input already is a digest". An unknown name throws SignatureException.
Bytes digest(const Bytes& bytes, const std::string& hashName);

// "AB:CD:0e" and "ab cd 0e" both become "ab cd 0e". Nothing is validated.
std::string normalizeFingerprint(const std::string& text);

// The 20 bytes of a canonical fingerprint: twenty hexadecimal values
// separated by white space. Anything else throws std::invalid_argument.
Bytes fingerprintBytes(const std::string& text);

// Lower-case hexadecimal pairs with one blank between them.
std::string hexWithBlanks(const unsigned char* bytes, std::size_t length);
std::string hexWithBlanks(const Bytes& bytes);

} // namespace valmora::signer
