#include "signer/directory/DirectoryCertificateStore.h"

#include "config/ApplicationPaths.h"
#include "config/AtomicFile.h"
#include "signer/NarrowConverter.h"
#include "signer/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace valmora::signer {

namespace {

const char* const firstLine = "orvane-certificate-entry: 1";
const char* const suffix = ".entry";
constexpr std::size_t nameLength = 40 + 6;  // 40 digits and ".entry"

[[noreturn]] void failWith(int code, const std::string& path)
{
    throw CertificateStoreError(code, path + ": " + systemErrorText(code));
}

bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

bool isEntryName(const std::string& name)
{
    if (name.size() != nameLength || name.compare(40, std::string::npos, suffix) != 0)
        return false;
    return std::all_of(name.begin(), name.begin() + 40, isHex);
}

// Values are UTF-8 on one line: control characters and "%" are written as
// "%" and two upper-case hexadecimal digits.
std::string escape(const std::string& value)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char c : value) {
        if (c < 0x20 || c == 0x7F || c == '%') {
            text.push_back('%');
            text.push_back(digits[c >> 4]);
            text.push_back(digits[c & 0x0F]);
        } else {
            text.push_back(static_cast<char>(c));
        }
    }
    return text;
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

std::optional<std::string> unescape(const std::string& text)
{
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            value.push_back(text[i]);
            continue;
        }
        const int high = i + 1 < text.size() ? hexValue(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hexValue(text[i + 2]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        value.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    return value;
}

std::optional<std::uint32_t> decimal(const std::string& text)
{
    if (text.empty() || text.size() > 10 || !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    const unsigned long long value = std::stoull(text);
    if (value > 0xFFFFFFFFull)
        return std::nullopt;
    return static_cast<std::uint32_t>(value);
}

// The whole file, or the error number of the failure.
int readWhole(const std::string& path, std::string& content)
{
    // Not blocking, and only plain files: a pipe or a device dropped into a
    // store folder must not hold up a walk.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return errno;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return EINVAL;
    }
    content.clear();
    char buffer[8192];
    while (true) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            const int code = errno;
            ::close(fd);
            return code;
        }
        if (n == 0)
            break;
        content.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return 0;
}

// Entries are replaced whole, owner-only.
void writeText(const std::string& path, const std::string& text)
{
    errno = 0;
    if (!orvane::model::writeFileAtomically(path, text, 0600))
        failWith(errno ? errno : EIO, path);
}

void writeEntry(const std::string& path, const StoreEntry& entry)
{
    writeText(path, DirectoryCertificateStore::encode(entry));
}

// An exclusive advisory lock on a store folder for the time of one change,
// so that two processes never interleave the read and write of an entry.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder)
    {
        fd_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd_ < 0)
            failWith(errno, folder);
        while (::flock(fd_, LOCK_EX) != 0) {
            if (errno != EINTR) {
                const int code = errno;
                ::close(fd_);
                failWith(code, folder);
            }
        }
    }
    ~FolderLock() { ::close(fd_); }  // closing lets the lock go
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int fd_ = -1;
};

} // namespace

DirectoryCertificateStore::DirectoryCertificateStore(std::string root) : root_(std::move(root)) {}

std::shared_ptr<DirectoryCertificateStore> DirectoryCertificateStore::forCurrentUser()
{
    return std::make_shared<DirectoryCertificateStore>(orvane::model::userOrvaneFolder() + "/certstore");
}

std::string DirectoryCertificateStore::fileName(const std::string& fingerprint)
{
    std::string digits;
    for (char c : normalizeFingerprint(fingerprint))
        if (c != ' ')
            digits.push_back(c);
    if (digits.size() != 40 || !std::all_of(digits.begin(), digits.end(), isHex))
        return {};
    return digits + suffix;
}

std::string DirectoryCertificateStore::storeFolder(const std::string& store) const
{
    if (std::find_if(storeNames.begin(), storeNames.end(), [&](const char* name) { return store == name; })
        == storeNames.end())
        throw CertificateStoreError(EINVAL, "\"" + store + "\" is no certificate store");
    return root_ + "/" + store;
}

std::string DirectoryCertificateStore::entryPath(const std::string& store, const std::string& fingerprint) const
{
    const std::string name = fileName(fingerprint);
    if (name.empty())
        throw CertificateStoreError(EINVAL, "\"" + fingerprint + "\" is no fingerprint");
    return storeFolder(store) + "/" + name;
}

void DirectoryCertificateStore::ensureFolder(const std::string& folder) const
{
    for (const std::string& path : {root_, folder}) {
        if (::mkdir(path.c_str(), 0700) == 0)
            continue;
        if (errno != EEXIST)
            failWith(errno, path);
    }
}

std::string DirectoryCertificateStore::encode(const StoreEntry& entry)
{
    std::ostringstream text;
    text << firstLine << "\n";
    text << "fingerprint: " << entry.certificate.fingerprint() << "\n";
    if (entry.friendlyName)
        text << "friendly-name: " << escape(narrowConverter.to_bytes(*entry.friendlyName)) << "\n";
    if (entry.provider) {
        const KeyProviderInfo& provider = *entry.provider;
        text << "provider-name: " << escape(narrowConverter.to_bytes(provider.providerName)) << "\n";
        text << "container-name: " << escape(narrowConverter.to_bytes(provider.containerName)) << "\n";
        text << "provider-type: " << provider.providerType << "\n";
        text << "provider-flags: " << provider.flags << "\n";
        text << "key-spec: " << provider.keySpec << "\n";
    }
    text << "\n" << entry.certificate.toPem();
    return text.str();
}

std::optional<StoreEntry> DirectoryCertificateStore::decode(const std::string& text)
{
    try {
        std::istringstream lines(text);
        std::string line;
        if (!std::getline(lines, line) || line != firstLine)
            return std::nullopt;
        std::string fingerprint, providerName, containerName;
        bool hasProvider = false, hasContainer = false;
        std::optional<std::wstring> friendlyName;
        KeyProviderInfo provider;
        while (std::getline(lines, line) && !line.empty()) {
            const auto colon = line.find(": ");
            if (colon == std::string::npos)
                return std::nullopt;
            const std::string name = line.substr(0, colon);
            const std::optional<std::string> value = unescape(line.substr(colon + 2));
            if (!value)
                return std::nullopt;
            if (name == "fingerprint") {
                fingerprint = *value;
            } else if (name == "friendly-name") {
                friendlyName = narrowConverter.from_bytes(*value);
            } else if (name == "provider-name") {
                provider.providerName = narrowConverter.from_bytes(*value);
                hasProvider = true;
            } else if (name == "container-name") {
                provider.containerName = narrowConverter.from_bytes(*value);
                hasContainer = true;
            } else if (name == "provider-type" || name == "provider-flags" || name == "key-spec") {
                const std::optional<std::uint32_t> number = decimal(*value);
                if (!number)
                    return std::nullopt;
                (name == "provider-type" ? provider.providerType
                 : name == "provider-flags" ? provider.flags
                                            : provider.keySpec) = *number;
            }
            // Other names belong to later versions of this form: passed over.
        }
        if (hasProvider != hasContainer)
            return std::nullopt;
        const std::string pem((std::istreambuf_iterator<char>(lines)), std::istreambuf_iterator<char>());
        if (pem.rfind("-----BEGIN CERTIFICATE-----", 0) != 0)
            return std::nullopt;
        StoreEntry entry{Certificate::fromText(pem), std::nullopt, std::move(friendlyName)};
        if (entry.certificate.isNull() || entry.certificate.fingerprint() != fingerprint)
            return std::nullopt;
        if (hasProvider)
            entry.provider = std::move(provider);
        return entry;
    } catch (const std::exception&) {
        // Text that is no UTF-8, or a certificate that does not parse.
        return std::nullopt;
    }
}

void DirectoryCertificateStore::forEachEntry(const std::string& store, const EntryVisitor& visitor)
{
    forEachEntry(store, visitor, [](const std::string&, const std::string& text) { return decode(text); });
}

void DirectoryCertificateStore::forEachEntry(const std::string& store, const EntryVisitor& visitor,
                                             const EntryDecoder& decoder)
{
    const std::string folder = storeFolder(store);
    DIR* directory = ::opendir(folder.c_str());
    if (!directory) {
        if (errno == ENOENT)
            return;
        failWith(errno, folder);
    }
    std::vector<std::string> names;
    while (const dirent* item = ::readdir(directory))
        if (isEntryName(item->d_name))
            names.emplace_back(item->d_name);
    ::closedir(directory);
    std::sort(names.begin(), names.end());

    std::string content;
    for (const std::string& name : names) {
        // A file that went away meanwhile, cannot be read or is not a whole
        // entry of its name is not ours to judge: it is passed over.
        if (readWhole(folder + "/" + name, content) != 0)
            continue;
        std::optional<StoreEntry> entry = decoder(name, content);
        if (!entry || fileName(entry->certificate.fingerprint()) != name)
            continue;
        if (visitor(*entry) == Then::Stop)
            return;
    }
}

std::optional<StoreEntry> DirectoryCertificateStore::find(const std::string& store, const std::string& fingerprint)
{
    const std::string name = fileName(fingerprint);
    if (name.empty())
        return std::nullopt;
    const std::string path = storeFolder(store) + "/" + name;
    std::string content;
    const int code = readWhole(path, content);
    // Absent; or a link, pipe or folder under an entry's name, which is
    // foreign and counts as absent.
    if (code == ENOENT || code == ENOTDIR || code == EINVAL || code == ELOOP)
        return std::nullopt;
    if (code != 0)
        failWith(code, path);
    std::optional<StoreEntry> entry = decode(content);
    if (entry && fileName(entry->certificate.fingerprint()) != name)
        return std::nullopt;
    return entry;
}

bool DirectoryCertificateStore::add(const std::string& store, const StoreEntry& entry)
{
    const std::string folder = storeFolder(store);
    ensureFolder(folder);
    FolderLock lock(folder);
    if (find(store, entry.certificate.fingerprint()))
        return false;
    writeEntry(entryPath(store, entry.certificate.fingerprint()), entry);
    return true;
}

void DirectoryCertificateStore::put(const std::string& store, const StoreEntry& entry)
{
    const std::string folder = storeFolder(store);
    ensureFolder(folder);
    FolderLock lock(folder);
    writeEntry(entryPath(store, entry.certificate.fingerprint()), entry);
}

bool DirectoryCertificateStore::update(const std::string& store, const std::string& fingerprint,
                                       const EntryChange& change)
{
    const std::string folder = storeFolder(store);
    ensureFolder(folder);
    FolderLock lock(folder);
    std::optional<StoreEntry> entry = find(store, fingerprint);
    if (!entry)
        return false;
    const std::string before = encode(*entry);
    change(*entry);
    // A change that changes nothing costs no write: publication sets the
    // link of every entry it keeps, and most of them stand as they were.
    const std::string after = encode(*entry);
    if (after != before)
        writeText(entryPath(store, fingerprint), after);
    return true;
}

bool DirectoryCertificateStore::remove(const std::string& store, const std::string& fingerprint)
{
    const std::string folder = storeFolder(store);
    const std::string path = entryPath(store, fingerprint);
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0)
        return false;
    FolderLock lock(folder);
    if (::unlink(path.c_str()) == 0)
        return true;
    if (errno == ENOENT)
        return false;
    failWith(errno, path);
}

} // namespace valmora::signer
