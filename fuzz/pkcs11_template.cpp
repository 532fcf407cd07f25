// What a program hands the PKCS#11 module: attribute templates, object
// handles, mechanisms with their parameters and the data to sign, through
// the module's own function list, on the tokens of a sample identity whose
// certificates the agent's publication put into "MY". Nothing here reaches a
// service: a signature is only begun, asked for its length, or refused.
//
// Input: one byte picks the token; then, until the input ends, one byte per
// call (its value modulo 5: search, attribute values, signature, login,
// list sizes) followed by that call's arguments.
#include "config/ApplicationPaths.h"
#include "model/identity/Orvane.h"
#include "model/keys/KeyReference.h"
#include "provider/FunctionTable.h"
#include "provider/signing/DigestInfo.h"
#include "provider/signing/LoginText.h"
#include "signer/Publication.h"

#include <p11-kit/pkcs11.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

const CK_ATTRIBUTE_TYPE kTypes[] = {
    CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_ID, CKA_SUBJECT, CKA_ISSUER, CKA_SERIAL_NUMBER, CKA_VALUE,
    CKA_CERTIFICATE_TYPE, CKA_CERTIFICATE_CATEGORY, CKA_TRUSTED, CKA_KEY_TYPE, CKA_MODULUS, CKA_MODULUS_BITS,
    CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT, CKA_SIGN, CKA_SENSITIVE, CKA_EXTRACTABLE, CKA_VERIFY, CKA_ENCRYPT,
    CKA_START_DATE, CKA_KEY_GEN_MECHANISM, CKA_ALWAYS_AUTHENTICATE, CKA_MODIFIABLE, CKA_APPLICATION,
    CKA_VENDOR_DEFINED};
const CK_MECHANISM_TYPE kMechanisms[] = {CKM_RSA_PKCS, CKM_SHA1_RSA_PKCS, CKM_SHA256_RSA_PKCS,
                                         CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS, CKM_SHA224_RSA_PKCS,
                                         CKM_RSA_PKCS_PSS, CKM_ECDSA};

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool empty() const { return size_ == 0; }
    std::uint8_t byte() { return size_ ? (--size_, *data_++) : 0; }
    Bytes bytes(std::size_t count)
    {
        count = std::min(count, size_);
        Bytes taken(data_, data_ + count);
        data_ += count;
        size_ -= count;
        return taken;
    }
    template <typename T, std::size_t N>
    T pick(const T (&table)[N]) { return table[byte() % N]; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

// The module loaded once over a sample identity: its tokens, and the value of
// every attribute of every object, so that a search template can hold values
// that match.
struct Fixture {
    CK_FUNCTION_LIST* p11 = nullptr;
    std::vector<CK_SLOT_ID> slots;
    std::map<CK_SLOT_ID, std::vector<CK_OBJECT_HANDLE>> objects;
    std::vector<std::pair<CK_ATTRIBUTE_TYPE, Bytes>> values;
};

Fixture* fixture = nullptr;

void writeFile(const std::string& path, const std::string& text)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::vector<CK_OBJECT_HANDLE> findAll(CK_FUNCTION_LIST* p11, CK_SESSION_HANDLE session, CK_ATTRIBUTE* pattern,
                                      CK_ULONG count, CK_ULONG step)
{
    std::vector<CK_OBJECT_HANDLE> found;
    if (p11->C_FindObjectsInit(session, pattern, count) != CKR_OK)
        return found;
    std::vector<CK_OBJECT_HANDLE> chunk(step);
    CK_ULONG got = 0;
    for (int round = 0; round < 8; ++round) {
        if (p11->C_FindObjects(session, step ? chunk.data() : nullptr, step, &got) != CKR_OK || got > step)
            __builtin_trap();
        found.insert(found.end(), chunk.begin(), chunk.begin() + got);
        if (got < step || !step)
            break;
    }
    p11->C_FindObjectsFinal(session);
    return found;
}

// One attribute read into a buffer of exactly the size the module names.
std::optional<Bytes> valueOf(CK_FUNCTION_LIST* p11, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                             CK_ATTRIBUTE_TYPE type)
{
    CK_ATTRIBUTE attribute{type, nullptr, 0};
    if (p11->C_GetAttributeValue(session, object, &attribute, 1) != CKR_OK)
        return std::nullopt;
    Bytes value(attribute.ulValueLen);
    attribute.pValue = value.data();
    if (p11->C_GetAttributeValue(session, object, &attribute, 1) != CKR_OK || attribute.ulValueLen != value.size())
        __builtin_trap();  // the size the module named does not hold the value
    return value;
}

// A search template: for each attribute no value, made-up bytes, or the
// value some object has, now and then with one byte changed.
std::vector<CK_ATTRIBUTE> searchTemplate(Input& in, std::vector<Bytes>& storage)
{
    const std::size_t count = in.byte() % 5;
    std::vector<CK_ATTRIBUTE> pattern;
    storage.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t mode = in.byte();
        CK_ATTRIBUTE attribute{in.pick(kTypes), nullptr, 0};
        if (mode % 4 == 1) {
            attribute.ulValueLen = in.byte();  // a length without a value
        } else if (mode % 4 >= 2) {
            if (mode % 4 == 2 || fixture->values.empty()) {
                storage.push_back(in.bytes(in.byte() % 64));
            } else {
                const auto& known = fixture->values[in.byte() % fixture->values.size()];
                attribute.type = known.first;
                storage.push_back(known.second);
                if ((mode & 0x10) && !storage.back().empty())
                    storage.back()[in.byte() % storage.back().size()] ^= 1;
            }
            attribute.pValue = storage.back().data();
            attribute.ulValueLen = storage.back().size();
        }
        pattern.push_back(attribute);
    }
    return pattern;
}

void search(Input& in, CK_SESSION_HANDLE session, std::vector<CK_OBJECT_HANDLE>& seen)
{
    std::vector<Bytes> storage;
    std::vector<CK_ATTRIBUTE> pattern = searchTemplate(in, storage);
    const std::vector<CK_OBJECT_HANDLE> found =
        findAll(fixture->p11, session, pattern.data(), pattern.size(), in.byte() % 4);
    for (CK_OBJECT_HANDLE object : found) {
        for (const CK_ATTRIBUTE& wanted : pattern) {
            const std::optional<Bytes> value = valueOf(fixture->p11, session, object, wanted.type);
            const auto* given = static_cast<const unsigned char*>(wanted.pValue);
            if (!value || value->size() != wanted.ulValueLen
                || (!value->empty() && !std::equal(value->begin(), value->end(), given)))
                __builtin_trap();  // found an object that does not match the template
        }
        seen.push_back(object);
    }
}

// C_GetAttributeValue with buffers of every kind: none, too small, larger, or
// exactly the size; what the module writes must stay inside each buffer and
// the lengths and return value must tell the truth.
void readAttributes(Input& in, CK_SESSION_HANDLE session, const std::vector<CK_OBJECT_HANDLE>& seen)
{
    const std::uint8_t which = in.byte();
    const CK_OBJECT_HANDLE object = seen.empty() || (which & 0x80) ? which : seen[which % seen.size()];
    const std::size_t count = in.byte() % 6;
    std::vector<CK_ATTRIBUTE> attributes(count);
    std::vector<Bytes> buffers(count);
    std::vector<CK_ULONG> given(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t mode = in.byte();
        attributes[i].type = in.pick(kTypes);
        std::size_t length = in.byte();
        if (mode % 4 == 2)
            length *= 16;
        if (mode % 4 == 3) {
            const std::size_t exact = valueOf(fixture->p11, session, object, attributes[i].type).value_or(Bytes()).size();
            length = (mode & 0x10) && exact ? exact - 1 : exact;
        }
        buffers[i].assign(length, 0xA5);
        attributes[i].pValue = mode % 4 == 0 ? nullptr : buffers[i].data();
        attributes[i].ulValueLen = given[i] = length;
    }
    const CK_RV rv = fixture->p11->C_GetAttributeValue(session, object, count ? attributes.data() : nullptr, count);
    if (rv != CKR_OK && rv != CKR_ATTRIBUTE_SENSITIVE && rv != CKR_ATTRIBUTE_TYPE_INVALID
        && rv != CKR_BUFFER_TOO_SMALL)
        return;
    bool unavailable = false;
    for (std::size_t i = 0; i < count; ++i) {
        const CK_ULONG length = attributes[i].ulValueLen;
        unavailable |= length == CK_UNAVAILABLE_INFORMATION;
        if (length == CK_UNAVAILABLE_INFORMATION || !attributes[i].pValue)
            continue;
        if (length > given[i])
            __builtin_trap();  // claims more than the buffer holds
        for (std::size_t b = length; b < given[i]; ++b)
            if (buffers[i][b] != 0xA5)
                __builtin_trap();  // wrote past the value
    }
    if ((rv == CKR_OK) == unavailable)
        __builtin_trap();  // the return value and the lengths disagree
}

// C_SignInit and the calls after it that do not reach a service: the length
// query, a buffer too small, and a DigestInfo that is none. Whatever is still
// under way is ended by mixing single-part and multi-part signing.
void sign(Input& in, CK_SESSION_HANDLE session, const std::vector<CK_OBJECT_HANDLE>& seen)
{
    CK_FUNCTION_LIST* p11 = fixture->p11;
    const std::uint8_t mode = in.byte();
    Bytes parameter = in.bytes(mode & 0x0F);
    CK_MECHANISM mechanism{in.pick(kMechanisms), (mode & 0x20) ? parameter.data() : nullptr,
                           (mode & 0x40) ? parameter.size() : 0};
    const std::uint8_t which = in.byte();
    const CK_OBJECT_HANDLE key = seen.empty() || (which & 0x80) ? which : seen[which % seen.size()];
    if (p11->C_SignInit(session, &mechanism, key) != CKR_OK)
        return;
    CK_ULONG length = 0;
    if (p11->C_Sign(session, nullptr, 0, nullptr, &length) != CKR_OK || length == 0 || length > 2048)
        __builtin_trap();
    CK_ULONG room = in.byte() % length;
    Bytes signature(std::max<CK_ULONG>(room, 1));
    if (p11->C_Sign(session, nullptr, 0, signature.data(), &room) != CKR_BUFFER_TOO_SMALL || room != length)
        __builtin_trap();
    Bytes data = in.bytes(in.byte());
    if (mechanism.mechanism == CKM_RSA_PKCS && !orvane::provider::DigestInfo::parse(data.data(), data.size())) {
        signature.resize(length);
        room = length;
        if (p11->C_Sign(session, data.data(), data.size(), signature.data(), &room) != CKR_DATA_INVALID)
            __builtin_trap();
        return;
    }
    p11->C_SignUpdate(session, data.data(), data.size());
    p11->C_SignFinal(session, nullptr, &length);
    p11->C_Sign(session, data.data(), data.size(), nullptr, &length);
}

void login(Input& in, CK_SESSION_HANDLE session, CK_SLOT_ID slot)
{
    CK_TOKEN_INFO info{};
    fixture->p11->C_GetTokenInfo(slot, &info);
    Bytes text = in.bytes(in.byte() % 32);
    if (info.flags & CKF_LOGIN_REQUIRED) {
        // A cloud login asks the service; its text is read as the module reads it.
        orvane::provider::LoginText::parse(std::string(text.begin(), text.end()), (text.size() & 1) ? L"push" : L"local");
        return;
    }
    const CK_USER_TYPE user = (in.byte() & 1) ? CKU_SO : CKU_USER;
    if (fixture->p11->C_Login(session, user, text.empty() ? nullptr : text.data(), text.size()) == CKR_OK)
        fixture->p11->C_Logout(session);
}

void listSizes(Input& in, CK_SLOT_ID slot)
{
    CK_FUNCTION_LIST* p11 = fixture->p11;
    std::vector<CK_ULONG> list(in.byte() % 8, 0xA5);
    CK_ULONG count = list.size();
    const bool mechanisms = in.byte() & 1;
    const CK_RV rv = mechanisms ? p11->C_GetMechanismList(slot, list.data(), &count)
                                : p11->C_GetSlotList(CK_TRUE, list.data(), &count);
    if (!list.empty() && ((rv == CKR_OK && count > list.size()) || (rv == CKR_BUFFER_TOO_SMALL && count <= list.size())))
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // A folder of our own for the identity, its configuration and "MY".
    char folder[] = "/tmp/orvane-fuzz-pkcs11-XXXXXX";
    if (!mkdtemp(folder))
        std::abort();
    static const std::string root = folder;
    std::atexit([] { fs::remove_all(root); });
    setenv("HOME", root.c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    setenv("XDG_CONFIG_DIRS", (root + "/etc").c_str(), 1);
    writeFile(orvane::model::configFilePath(), "brantis.url = https://kestrel.example:8443\n"
                                               "brantis.base.name = /TolvaneServices\n"
                                               "harrier.url = harrier.example:9443\n");
    std::ifstream sample(ORVANE_FUZZ_IDENTITY, std::ios::binary);
    writeFile(orvane::model::identityFilePath(), std::string(std::istreambuf_iterator<char>(sample), {}));
    bool dirty = false;
    const auto identity = orvane::model::Orvane::read(dirty, [](orvane::model::KestrelInstallation&, bool&) {});
    std::vector<valmora::signer::PublishedKey> keys;
    for (const orvane::model::KeyReference* key : identity->certificates())
        if (key->certificate)
            keys.push_back({*key->certificate, key->keyName, key->friendlyName});
    valmora::signer::publishCertificates(keys);

    fixture = new Fixture;
    CK_FUNCTION_LIST* p11 = fixture->p11 = orvane::provider::functionTable();
    CK_ULONG count = 0;
    if (p11->C_Initialize(nullptr) != CKR_OK || p11->C_GetSlotList(CK_TRUE, nullptr, &count) != CKR_OK || !count)
        std::abort();
    fixture->slots.resize(count);
    p11->C_GetSlotList(CK_TRUE, fixture->slots.data(), &count);
    for (CK_SLOT_ID slot : fixture->slots) {
        CK_SESSION_HANDLE session = 0;
        p11->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session);
        for (CK_OBJECT_HANDLE object : findAll(p11, session, nullptr, 0, 16)) {
            fixture->objects[slot].push_back(object);
            for (CK_ATTRIBUTE_TYPE type : kTypes)
                if (auto value = valueOf(p11, session, object, type))
                    fixture->values.emplace_back(type, std::move(*value));
        }
        p11->C_CloseSession(session);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input in(data, size);
    const CK_SLOT_ID slot = fixture->slots[in.byte() % fixture->slots.size()];
    CK_SESSION_HANDLE session = 0;
    if (fixture->p11->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session) != CKR_OK)
        __builtin_trap();
    std::vector<CK_OBJECT_HANDLE> seen = fixture->objects[slot];
    while (!in.empty()) {
        switch (in.byte() % 5) {
        case 0: search(in, session, seen); break;
        case 1: readAttributes(in, session, seen); break;
        case 2: sign(in, session, seen); break;
        case 3: login(in, session, slot); break;
        case 4: listSizes(in, slot); break;
        }
    }
    fixture->p11->C_CloseSession(session);
    return 0;
}
