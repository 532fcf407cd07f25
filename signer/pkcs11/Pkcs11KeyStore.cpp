#include "signer/pkcs11/Pkcs11KeyStore.h"

#include "config/AtomicFile.h"
#include "signer/pkcs11/Pkcs11Module.h"
#include "signer/pkcs11/Pkcs11Session.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/param_build.h>
#include <openssl/rand.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace valmora::signer {

namespace {

using Kind = KeyStoreError::Kind;

[[noreturn]] void fail(const std::string& text) { throw KeyStoreError(Kind::Failure, text); }

using ParamBuildPtr = OpenSslPtr<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using ParamsPtr = OpenSslPtr<OSSL_PARAM, OSSL_PARAM_free>;

// File descriptor owned for the time of a scope.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

void makeFolder(const std::string& path)
{
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        fail("Cannot create the folder " + path + ": " + std::strerror(errno));
    ::chmod(path.c_str(), 0700);
}

bool fileExists(const std::string& path)
{
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

std::string randomHex(std::size_t bytes)
{
    std::vector<unsigned char> random(bytes);
    if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1)
        fail("No random bytes for a PIN");
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char byte : random) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0x0F]);
    }
    return text;
}

// First line of the PIN file; empty when there is none.
std::string readPin(const std::string& path)
{
    if (path.empty())
        return {};
    std::ifstream file(path);
    std::string pin;
    std::getline(file, pin);
    while (!pin.empty() && (pin.back() == '\r' || pin.back() == ' '))
        pin.pop_back();
    return pin;
}

// The token label as PKCS#11 holds it: 32 bytes padded with blanks.
std::string paddedLabel(const std::string& label)
{
    std::string padded = label.substr(0, 32);
    padded.resize(32, ' ');
    return padded;
}

std::string trimmedLabel(const unsigned char* label)
{
    std::string text(reinterpret_cast<const char*>(label), 32);
    const auto end = text.find_last_not_of(' ');
    return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

std::vector<CK_SLOT_ID> slotsWithToken(CK_FUNCTION_LIST* f)
{
    CK_ULONG count = 0;
    Pkcs11Module::check(f->C_GetSlotList(CK_TRUE, nullptr, &count), "C_GetSlotList");
    std::vector<CK_SLOT_ID> slots(count);
    Pkcs11Module::check(f->C_GetSlotList(CK_TRUE, slots.data(), &count), "C_GetSlotList");
    slots.resize(count);
    return slots;
}

bool findTokenSlot(CK_FUNCTION_LIST* f, const std::string& label, CK_SLOT_ID& slot, bool initialised)
{
    for (CK_SLOT_ID candidate : slotsWithToken(f)) {
        CK_TOKEN_INFO info{};
        if (f->C_GetTokenInfo(candidate, &info) != CKR_OK)
            continue;
        const bool isInitialised = (info.flags & CKF_TOKEN_INITIALIZED) != 0;
        if (isInitialised != initialised)
            continue;
        if (initialised && trimmedLabel(info.label) != label)
            continue;
        slot = candidate;
        return true;
    }
    return false;
}

CK_ATTRIBUTE attribute(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t length)
{
    return CK_ATTRIBUTE{type, const_cast<void*>(value), static_cast<CK_ULONG>(length)};
}

std::vector<CK_OBJECT_HANDLE> findObjects(const Pkcs11Session& session, std::vector<CK_ATTRIBUTE> query)
{
    CK_FUNCTION_LIST* f = session.functions();
    Pkcs11Module::check(f->C_FindObjectsInit(session.handle(), query.data(), query.size()), "C_FindObjectsInit");
    std::vector<CK_OBJECT_HANDLE> found;
    CK_RV rv = CKR_OK;
    while (true) {
        CK_OBJECT_HANDLE batch[16];
        CK_ULONG count = 0;
        rv = f->C_FindObjects(session.handle(), batch, 16, &count);
        if (rv != CKR_OK || count == 0)
            break;
        found.insert(found.end(), batch, batch + count);
    }
    f->C_FindObjectsFinal(session.handle());
    Pkcs11Module::check(rv, "C_FindObjects");
    return found;
}

CK_OBJECT_HANDLE findByLabel(const Pkcs11Session& session, CK_OBJECT_CLASS objectClass, const std::string& label)
{
    const std::vector<CK_OBJECT_HANDLE> found = findObjects(
        session, {attribute(CKA_CLASS, &objectClass, sizeof objectClass), attribute(CKA_LABEL, label.data(), label.size())});
    return found.empty() ? CK_INVALID_HANDLE : found.front();
}

CK_OBJECT_HANDLE privateKeyNamed(const Pkcs11Session& session, const std::string& name)
{
    const CK_OBJECT_HANDLE key = findByLabel(session, CKO_PRIVATE_KEY, name);
    if (key == CK_INVALID_HANDLE)
        throw KeyStoreError(Kind::NoSuchKey, "No key named \"" + name + "\" in the key store");
    return key;
}

Bytes readAttribute(const Pkcs11Session& session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type)
{
    CK_FUNCTION_LIST* f = session.functions();
    CK_ATTRIBUTE query = attribute(type, nullptr, 0);
    Pkcs11Module::check(f->C_GetAttributeValue(session.handle(), object, &query, 1), "C_GetAttributeValue");
    Bytes value(query.ulValueLen);
    query.pValue = value.data();
    Pkcs11Module::check(f->C_GetAttributeValue(session.handle(), object, &query, 1), "C_GetAttributeValue");
    value.resize(query.ulValueLen);
    return value;
}

Bytes withoutLeadingZeros(Bytes number)
{
    std::size_t zeros = 0;
    while (zeros + 1 < number.size() && number[zeros] == 0)
        ++zeros;
    number.erase(number.begin(), number.begin() + static_cast<std::ptrdiff_t>(zeros));
    return number;
}

PublicKey publicKeyOf(const Pkcs11Session& session, CK_OBJECT_HANDLE object)
{
    PublicKey key;
    key.modulus = withoutLeadingZeros(readAttribute(session, object, CKA_MODULUS));
    key.exponent = withoutLeadingZeros(readAttribute(session, object, CKA_PUBLIC_EXPONENT));
    return key;
}

Bytes bignumBytes(const EVP_PKEY* key, const char* name)
{
    BIGNUM* raw = nullptr;
    if (EVP_PKEY_get_bn_param(key, name, &raw) != 1) {
        ERR_clear_error();
        fail(std::string("The key has no part \"") + name + "\"");
    }
    BignumPtr number(raw);
    Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number.get())));
    BN_bn2bin(number.get(), bytes.data());
    return bytes;
}

// The RSA key parts of PKCS#11 and the names under which OpenSSL knows them.
struct RsaPart {
    CK_ATTRIBUTE_TYPE type;
    const char* openSslName;
};
const RsaPart rsaParts[] = {
    {CKA_MODULUS, OSSL_PKEY_PARAM_RSA_N},
    {CKA_PUBLIC_EXPONENT, OSSL_PKEY_PARAM_RSA_E},
    {CKA_PRIVATE_EXPONENT, OSSL_PKEY_PARAM_RSA_D},
    {CKA_PRIME_1, OSSL_PKEY_PARAM_RSA_FACTOR1},
    {CKA_PRIME_2, OSSL_PKEY_PARAM_RSA_FACTOR2},
    {CKA_EXPONENT_1, OSSL_PKEY_PARAM_RSA_EXPONENT1},
    {CKA_EXPONENT_2, OSSL_PKEY_PARAM_RSA_EXPONENT2},
    {CKA_COEFFICIENT, OSSL_PKEY_PARAM_RSA_COEFFICIENT1},
};

} // namespace

Pkcs11KeyStore::Pkcs11KeyStore(Pkcs11Settings settings) : settings_(std::move(settings)) {}

Pkcs11KeyStore::Pkcs11KeyStore(std::function<Pkcs11Settings()> settings) : settingsSource_(std::move(settings)) {}

Pkcs11KeyStore::~Pkcs11KeyStore()
{
    // Sessions close before the module goes.
    loginSession_.reset();
    module_.reset();
}

std::shared_ptr<Pkcs11KeyStore> Pkcs11KeyStore::forCurrentUser()
{
    return std::make_shared<Pkcs11KeyStore>(std::function<Pkcs11Settings()>(&Pkcs11Settings::forCurrentUser));
}

Pkcs11Settings Pkcs11KeyStore::settings()
{
    open();
    return settings_;
}

void Pkcs11KeyStore::open()
{
    std::lock_guard<std::mutex> lock(openMutex_);
    if (opened_)
        return;
    if (settingsSource_)
        settings_ = settingsSource_();

    // The agent's own SoftHSM2 home. Two processes may meet at the first
    // use: the lock on the folder lets one of them make the token.
    std::unique_ptr<FileDescriptor> folderLock;
    if (!settings_.softHsmFolder.empty()) {
        const std::string& folder = settings_.softHsmFolder;
        makeFolder(folder);
        makeFolder(folder + "/tokens");
        folderLock = std::make_unique<FileDescriptor>(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folderLock->get() < 0 || ::flock(folderLock->get(), LOCK_EX) != 0)
            fail("Cannot lock the key store folder " + folder + ": " + std::strerror(errno));
        const std::string configuration = folder + "/softhsm2.conf";
        if (!fileExists(configuration)) {
            const std::string text = "# SoftHSM2 configuration of the Orvane key store; written by Orvane.\n"
                                     "directories.tokendir = "
                                     + folder + "/tokens\n"
                                                "objectstore.backend = file\n"
                                                "log.level = ERROR\n"
                                                "slots.removable = false\n";
            if (!orvane::model::writeFileAtomically(configuration, text, 0600))
                fail("Cannot write " + configuration + ": " + std::strerror(errno ? errno : EIO));
        }
        // SoftHSM2 reads the name of its configuration file from here when
        // it is initialised, and not after.
        ::setenv("SOFTHSM2_CONF", configuration.c_str(), 1);
    }

    auto module = std::make_unique<Pkcs11Module>(settings_.modulePath);
    CK_FUNCTION_LIST* f = module->functions();
    CK_SLOT_ID slot = 0;
    if (!findTokenSlot(f, settings_.tokenLabel, slot, true)) {
        if (settings_.softHsmFolder.empty())
            fail("No token labelled \"" + settings_.tokenLabel + "\" in the PKCS#11 module " + settings_.modulePath);
        // First use: the PIN is written before the token exists, so that no
        // token is ever left with a PIN nobody knows.
        std::string userPin = readPin(settings_.pinFile);
        if (userPin.empty()) {
            userPin = randomHex(16);
            if (!orvane::model::writeFileAtomically(settings_.pinFile, userPin + "\n", 0600))
                fail("Cannot write " + settings_.pinFile + ": " + std::strerror(errno ? errno : EIO));
        }
        // The security officer's PIN serves only to set the user PIN; it is
        // not kept.
        const std::string soPin = randomHex(16);
        CK_SLOT_ID freeSlot = 0;
        if (!findTokenSlot(f, "", freeSlot, false))
            fail("The PKCS#11 module " + settings_.modulePath + " offers no free slot for a token");
        const std::string label = paddedLabel(settings_.tokenLabel);
        Pkcs11Module::check(f->C_InitToken(freeSlot, reinterpret_cast<CK_UTF8CHAR*>(const_cast<char*>(soPin.data())),
                                           soPin.size(),
                                           reinterpret_cast<CK_UTF8CHAR*>(const_cast<char*>(label.data()))),
                            "C_InitToken");
        if (!findTokenSlot(f, settings_.tokenLabel, slot, true))
            fail("The token \"" + settings_.tokenLabel + "\" was made but cannot be found");
        Pkcs11Session setup(f, slot);
        Pkcs11Module::check(f->C_Login(setup.handle(), CKU_SO,
                                       reinterpret_cast<CK_UTF8CHAR*>(const_cast<char*>(soPin.data())), soPin.size()),
                            "C_Login");
        const CK_RV rv = f->C_InitPIN(setup.handle(), reinterpret_cast<CK_UTF8CHAR*>(userPin.data()), userPin.size());
        f->C_Logout(setup.handle());
        Pkcs11Module::check(rv, "C_InitPIN");
    }

    // This session lives as long as the store: the login of a token ends
    // with its last session.
    auto loginSession = std::make_unique<Pkcs11Session>(f, slot);
    std::string pin = readPin(settings_.pinFile);
    if (!pin.empty()) {
        const CK_RV rv = f->C_Login(loginSession->handle(), CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()),
                                    pin.size());
        if (rv != CKR_USER_ALREADY_LOGGED_IN)
            Pkcs11Module::check(rv, "C_Login");
    }
    module_ = std::move(module);
    slot_ = slot;
    loginSession_ = std::move(loginSession);
    opened_ = true;
}

Pkcs11Session Pkcs11KeyStore::session()
{
    open();
    return Pkcs11Session(module_->functions(), slot_);
}

PublicKey Pkcs11KeyStore::createKey(const std::string& name, bool exportable, unsigned bitCount)
{
    Pkcs11Session s = session();
    if (findByLabel(s, CKO_PRIVATE_KEY, name) != CK_INVALID_HANDLE)
        throw KeyStoreError(Kind::KeyExists, "A key named \"" + name + "\" exists already");
    CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    CK_ULONG bits = bitCount;
    const unsigned char exponent[] = {0x01, 0x00, 0x01};
    CK_BBOOL yes = CK_TRUE, no = CK_FALSE;
    CK_BBOOL sensitive = exportable ? CK_FALSE : CK_TRUE;
    CK_BBOOL extractable = exportable ? CK_TRUE : CK_FALSE;
    std::vector<CK_ATTRIBUTE> publicTemplate = {
        attribute(CKA_TOKEN, &yes, sizeof yes),          attribute(CKA_PRIVATE, &no, sizeof no),
        attribute(CKA_LABEL, name.data(), name.size()),  attribute(CKA_ID, name.data(), name.size()),
        attribute(CKA_MODULUS_BITS, &bits, sizeof bits), attribute(CKA_PUBLIC_EXPONENT, exponent, sizeof exponent),
        attribute(CKA_VERIFY, &yes, sizeof yes),         attribute(CKA_ENCRYPT, &yes, sizeof yes),
    };
    std::vector<CK_ATTRIBUTE> privateTemplate = {
        attribute(CKA_TOKEN, &yes, sizeof yes),
        attribute(CKA_PRIVATE, &yes, sizeof yes),
        attribute(CKA_LABEL, name.data(), name.size()),
        attribute(CKA_ID, name.data(), name.size()),
        attribute(CKA_SENSITIVE, &sensitive, sizeof sensitive),
        attribute(CKA_EXTRACTABLE, &extractable, sizeof extractable),
        attribute(CKA_SIGN, &yes, sizeof yes),
        attribute(CKA_DECRYPT, &yes, sizeof yes),
    };
    CK_OBJECT_HANDLE publicObject = CK_INVALID_HANDLE, privateObject = CK_INVALID_HANDLE;
    Pkcs11Module::check(s.functions()->C_GenerateKeyPair(s.handle(), &mechanism, publicTemplate.data(),
                                                         publicTemplate.size(), privateTemplate.data(),
                                                         privateTemplate.size(), &publicObject, &privateObject),
                        "C_GenerateKeyPair");
    return publicKeyOf(s, publicObject);
}

bool Pkcs11KeyStore::hasKey(const std::string& name)
{
    Pkcs11Session s = session();
    return findByLabel(s, CKO_PRIVATE_KEY, name) != CK_INVALID_HANDLE;
}

PublicKey Pkcs11KeyStore::publicKey(const std::string& name)
{
    Pkcs11Session s = session();
    CK_OBJECT_HANDLE object = findByLabel(s, CKO_PUBLIC_KEY, name);
    // A key imported without its public object still tells its public
    // parts.
    if (object == CK_INVALID_HANDLE)
        object = privateKeyNamed(s, name);
    return publicKeyOf(s, object);
}

std::optional<std::string> Pkcs11KeyStore::findKey(const PublicKey& publicKey)
{
    Pkcs11Session s = session();
    CK_OBJECT_CLASS objectClass = CKO_PRIVATE_KEY;
    const std::vector<CK_OBJECT_HANDLE> found =
        findObjects(s, {attribute(CKA_CLASS, &objectClass, sizeof objectClass),
                        attribute(CKA_MODULUS, publicKey.modulus.data(), publicKey.modulus.size())});
    for (CK_OBJECT_HANDLE object : found) {
        if (publicKeyOf(s, object) != publicKey)
            continue;
        const Bytes label = readAttribute(s, object, CKA_LABEL);
        return std::string(label.begin(), label.end());
    }
    return std::nullopt;
}

Bytes Pkcs11KeyStore::signPkcs1(const std::string& name, const Bytes& block)
{
    Pkcs11Session s = session();
    CK_FUNCTION_LIST* f = s.functions();
    const CK_OBJECT_HANDLE key = privateKeyNamed(s, name);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Pkcs11Module::check(f->C_SignInit(s.handle(), &mechanism, key), "C_SignInit");
    CK_ULONG length = 0;
    Bytes input = block;
    // C_Sign with no output buffer only reports the length and leaves the
    // operation active for the real call.
    Pkcs11Module::check(f->C_Sign(s.handle(), input.data(), input.size(), nullptr, &length), "C_Sign");
    Bytes signature(length);
    Pkcs11Module::check(f->C_Sign(s.handle(), input.data(), input.size(), signature.data(), &length), "C_Sign");
    signature.resize(length);
    return signature;
}

Bytes Pkcs11KeyStore::decryptPkcs1(const std::string& name, const Bytes& cipherText)
{
    Pkcs11Session s = session();
    CK_FUNCTION_LIST* f = s.functions();
    const CK_OBJECT_HANDLE key = privateKeyNamed(s, name);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Pkcs11Module::check(f->C_DecryptInit(s.handle(), &mechanism, key), "C_DecryptInit");
    Bytes input = cipherText;
    CK_ULONG length = 0;
    Pkcs11Module::check(f->C_Decrypt(s.handle(), input.data(), input.size(), nullptr, &length), "C_Decrypt");
    Bytes plain(length);
    Pkcs11Module::check(f->C_Decrypt(s.handle(), input.data(), input.size(), plain.data(), &length), "C_Decrypt");
    plain.resize(length);
    return plain;
}

EvpPkeyPtr Pkcs11KeyStore::exportPrivateKey(const std::string& name)
{
    Pkcs11Session s = session();
    const CK_OBJECT_HANDLE key = privateKeyNamed(s, name);
    std::vector<BignumPtr> numbers;
    ParamBuildPtr build(OSSL_PARAM_BLD_new());
    if (!build)
        fail("Memory allocation failure");
    for (const RsaPart& part : rsaParts) {
        const Bytes value = readAttribute(s, key, part.type);
        numbers.emplace_back(BN_bin2bn(value.data(), static_cast<int>(value.size()), nullptr));
        if (!numbers.back() || OSSL_PARAM_BLD_push_BN(build.get(), part.openSslName, numbers.back().get()) != 1)
            fail("Memory allocation failure");
    }
    ParamsPtr params(OSSL_PARAM_BLD_to_param(build.get()));
    EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* raw = nullptr;
    if (!params || !context || EVP_PKEY_fromdata_init(context.get()) != 1
        || EVP_PKEY_fromdata(context.get(), &raw, EVP_PKEY_KEYPAIR, params.get()) != 1) {
        ERR_clear_error();
        fail("Cannot make an OpenSSL key of the key \"" + name + "\"");
    }
    return EvpPkeyPtr(raw);
}

void Pkcs11KeyStore::importPrivateKey(const std::string& name, const EVP_PKEY* key, bool exportable)
{
    if (EVP_PKEY_get_base_id(key) != EVP_PKEY_RSA)
        fail("Only RSA keys can be stored");
    Pkcs11Session s = session();
    if (findByLabel(s, CKO_PRIVATE_KEY, name) != CK_INVALID_HANDLE)
        throw KeyStoreError(Kind::KeyExists, "A key named \"" + name + "\" exists already");
    std::vector<Bytes> parts;
    for (const RsaPart& part : rsaParts)
        parts.push_back(bignumBytes(key, part.openSslName));

    CK_OBJECT_CLASS privateClass = CKO_PRIVATE_KEY, publicClass = CKO_PUBLIC_KEY;
    CK_KEY_TYPE keyType = CKK_RSA;
    CK_BBOOL yes = CK_TRUE, no = CK_FALSE;
    CK_BBOOL sensitive = exportable ? CK_FALSE : CK_TRUE;
    CK_BBOOL extractable = exportable ? CK_TRUE : CK_FALSE;
    std::vector<CK_ATTRIBUTE> privateTemplate = {
        attribute(CKA_CLASS, &privateClass, sizeof privateClass),
        attribute(CKA_KEY_TYPE, &keyType, sizeof keyType),
        attribute(CKA_TOKEN, &yes, sizeof yes),
        attribute(CKA_PRIVATE, &yes, sizeof yes),
        attribute(CKA_LABEL, name.data(), name.size()),
        attribute(CKA_ID, name.data(), name.size()),
        attribute(CKA_SENSITIVE, &sensitive, sizeof sensitive),
        attribute(CKA_EXTRACTABLE, &extractable, sizeof extractable),
        attribute(CKA_SIGN, &yes, sizeof yes),
        attribute(CKA_DECRYPT, &yes, sizeof yes),
    };
    for (std::size_t i = 0; i < parts.size(); ++i)
        privateTemplate.push_back(attribute(rsaParts[i].type, parts[i].data(), parts[i].size()));
    std::vector<CK_ATTRIBUTE> publicTemplate = {
        attribute(CKA_CLASS, &publicClass, sizeof publicClass),
        attribute(CKA_KEY_TYPE, &keyType, sizeof keyType),
        attribute(CKA_TOKEN, &yes, sizeof yes),
        attribute(CKA_PRIVATE, &no, sizeof no),
        attribute(CKA_LABEL, name.data(), name.size()),
        attribute(CKA_ID, name.data(), name.size()),
        attribute(CKA_VERIFY, &yes, sizeof yes),
        attribute(CKA_ENCRYPT, &yes, sizeof yes),
        attribute(CKA_MODULUS, parts[0].data(), parts[0].size()),
        attribute(CKA_PUBLIC_EXPONENT, parts[1].data(), parts[1].size()),
    };
    CK_FUNCTION_LIST* f = s.functions();
    CK_OBJECT_HANDLE privateObject = CK_INVALID_HANDLE, publicObject = CK_INVALID_HANDLE;
    Pkcs11Module::check(f->C_CreateObject(s.handle(), privateTemplate.data(), privateTemplate.size(), &privateObject),
                        "C_CreateObject");
    const CK_RV rv = f->C_CreateObject(s.handle(), publicTemplate.data(), publicTemplate.size(), &publicObject);
    if (rv != CKR_OK) {
        // No half key: without its public object the private one goes too.
        f->C_DestroyObject(s.handle(), privateObject);
        Pkcs11Module::check(rv, "C_CreateObject");
    }
}

bool Pkcs11KeyStore::destroyKey(const std::string& name)
{
    Pkcs11Session s = session();
    const std::vector<CK_OBJECT_HANDLE> objects = findObjects(s, {attribute(CKA_LABEL, name.data(), name.size())});
    for (CK_OBJECT_HANDLE object : objects)
        Pkcs11Module::check(s.functions()->C_DestroyObject(s.handle(), object), "C_DestroyObject");
    return !objects.empty();
}

} // namespace valmora::signer
