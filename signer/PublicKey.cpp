#include "signer/PublicKey.h"

#include "signer/Exceptions.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>

#include <limits>
#include <stdexcept>

namespace valmora::signer {

namespace {

using ParamBuildPtr = OpenSslPtr<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using ParamsPtr = OpenSslPtr<OSSL_PARAM, OSSL_PARAM_free>;

Bytes bignumBytes(const EVP_PKEY* key, const char* name, const char* failure)
{
    BIGNUM* raw = nullptr;
    if (EVP_PKEY_get_bn_param(key, name, &raw) != 1 || !raw) {
        ERR_clear_error();
        throw BaseException(failure);
    }
    BignumPtr number(raw);
    Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number.get())));
    BN_bn2bin(number.get(), bytes.data());
    return bytes;
}

BignumPtr toBignum(const Bytes& bytes)
{
    if (bytes.size() >= static_cast<std::size_t>(std::numeric_limits<int>::max()) + 1u)
        throw std::overflow_error("bad numeric conversion: positive overflow");
    BignumPtr number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
    if (!number)
        throw BaseException("Cannot create big number");
    return number;
}

Bytes withoutLeadingZeros(const Bytes& bytes)
{
    std::size_t first = 0;
    while (first < bytes.size() && bytes[first] == 0)
        ++first;
    return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(first), bytes.end());
}

} // namespace

PublicKey PublicKey::fromEvp(const EVP_PKEY* key)
{
    if (!key || !EVP_PKEY_is_a(key, "RSA"))
        throw BaseException("Cannot get RSA key from private key");
    PublicKey result;
    result.modulus = bignumBytes(key, OSSL_PKEY_PARAM_RSA_N, "Cannot extract modulus");
    result.exponent = bignumBytes(key, OSSL_PKEY_PARAM_RSA_E, "Cannot extract exponent");
    return result;
}

EvpPkeyPtr PublicKey::toEvp() const
{
    const BignumPtr n = toBignum(modulus);
    const BignumPtr e = toBignum(exponent);

    ParamBuildPtr build(OSSL_PARAM_BLD_new());
    if (!build || OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) != 1
        || OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_RSA_E, e.get()) != 1) {
        ERR_clear_error();
        throw BaseException("Cannot build RSA public key");
    }
    ParamsPtr params(OSSL_PARAM_BLD_to_param(build.get()));
    EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* raw = nullptr;
    if (!params || !context || EVP_PKEY_fromdata_init(context.get()) != 1
        || EVP_PKEY_fromdata(context.get(), &raw, EVP_PKEY_PUBLIC_KEY, params.get()) != 1 || !raw) {
        ERR_clear_error();
        throw BaseException("Cannot build RSA public key");
    }
    return EvpPkeyPtr(raw);
}

std::string PublicKey::toPem() const
{
    const EvpPkeyPtr key = toEvp();
    BioPtr bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PUBKEY(bio.get(), key.get()) != 1) {
        ERR_clear_error();
        throw BaseException("Cannot write public key");
    }
    return readAll(bio.get());
}

std::string readAll(BIO* bio)
{
    std::string text;
    char portion[1024];
    int count = 0;
    while ((count = BIO_read(bio, portion, sizeof portion)) > 0)
        text.append(portion, static_cast<std::size_t>(count));
    return text;
}

bool operator==(const PublicKey& left, const PublicKey& right)
{
    return left.modulus == right.modulus
           && withoutLeadingZeros(left.exponent) == withoutLeadingZeros(right.exponent);
}

bool operator!=(const PublicKey& left, const PublicKey& right) { return !(left == right); }

} // namespace valmora::signer
