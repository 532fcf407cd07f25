#include "config/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace orvane::model {

namespace {

bool writeAll(int fd, const std::string& content)
{
    std::size_t done = 0;
    while (done < content.size()) {
        ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

std::string folderOf(const std::string& path)
{
    std::string::size_type slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A writer killed between creating its temporary file and renaming it leaves
// the temporary behind. Such leftovers are removed by the next writer of the
// same file once they are old enough that no live writer can still own them.
void removeStaleTemporaries(const std::string& path)
{
    constexpr std::time_t kStaleSeconds = 600;
    const std::string folder = folderOf(path);
    const std::string prefix = path.substr(path.find_last_of('/') + 1) + ".tmp-";
    std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), &closedir);
    if (!entries)
        return;
    const std::time_t now = std::time(nullptr);
    while (const dirent* entry = readdir(entries.get())) {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string leftover = folder + "/" + name;
        struct stat info {};
        if (lstat(leftover.c_str(), &info) == 0 && S_ISREG(info.st_mode) && now - info.st_mtime > kStaleSeconds)
            ::unlink(leftover.c_str());
    }
}

struct FileRights {
    mode_t mode;
    // Set only for an existing file whose owner or group is to be kept.
    bool keepOwner = false;
    uid_t owner = 0;
    gid_t group = 0;
};

bool writeWithRights(const std::string& path, const std::string& content, const FileRights& rights)
{
    removeStaleTemporaries(path);
    std::string pattern = path + ".tmp-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = (!rights.keepOwner || fchown(fd, rights.owner, rights.group) == 0) && fchmod(fd, rights.mode) == 0
              && writeAll(fd, content) && fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (!ok || std::rename(name.data(), path.c_str()) != 0) {
        ::unlink(name.data());
        return false;
    }
    // Make the rename itself durable.
    int folder = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        ::close(folder);
    }
    return true;
}

} // namespace

bool writeFileAtomically(const std::string& path, const std::string& content, mode_t mode)
{
    return writeWithRights(path, content, FileRights{mode});
}

bool rewriteFileAtomically(const std::string& path, const std::string& content, mode_t newFileMode)
{
    struct stat existing {};
    if (::stat(path.c_str(), &existing) != 0)
        return writeWithRights(path, content, FileRights{newFileMode});
    FileRights rights{static_cast<mode_t>(existing.st_mode & 07777)};
    // A file of this user and group needs no chown (which an ordinary user
    // may not be allowed to call even for a no-op on some file systems).
    rights.keepOwner = existing.st_uid != ::geteuid() || existing.st_gid != ::getegid();
    rights.owner = existing.st_uid;
    rights.group = existing.st_gid;
    return writeWithRights(path, content, rights);
}

} // namespace orvane::model
