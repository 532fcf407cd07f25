#include "model/config/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
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

} // namespace

bool writeFileAtomically(const std::string& path, const std::string& content, mode_t mode)
{
    std::string pattern = path + ".tmp-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = fchmod(fd, mode) == 0 && writeAll(fd, content) && fsync(fd) == 0;
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

} // namespace orvane::model
