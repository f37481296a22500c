#include "oxzip/AtomicFile.h"

#include "oxzip/Failure.h"
#include "oxzip/Utf8Path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace orvex::oxzip {
namespace {

// Strings here are built by appending: GCC 12 warns (-Wrestrict, a false
// alarm) on "literal" + std::string once these calls are inlined.
std::string describe(const fs::path &path, int error)
{
    std::string text(1, '"');
    text += utf8Of(path);
    text += "\": ";
    text += std::generic_category().message(error);
    return text;
}

#ifdef _WIN32
int openExclusive(const fs::path &path)
{
    return _wopen(path.c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
}
long long writeSome(int fd, const char *data, std::size_t size)
{
    return _write(fd, data, static_cast<unsigned>(std::min<std::size_t>(size, 1u << 30)));
}
int flushToDisk(int fd)
{
    return _commit(fd);
}
int closeFd(int fd)
{
    return _close(fd);
}
unsigned currentUmask()
{
    return 0;
}
void syncFolder(const fs::path &) {}
#else
int openExclusive(const fs::path &path)
{
    return ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
}
long long writeSome(int fd, const char *data, std::size_t size)
{
    return ::write(fd, data, size);
}
int flushToDisk(int fd)
{
    return ::fsync(fd);
}
int closeFd(int fd)
{
    return ::close(fd);
}
// Read by setting it back at once; the archiver runs one thread.
unsigned currentUmask()
{
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}
// The rename itself reaches the disk only with the folder.
void syncFolder(const fs::path &folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}
#endif

// A new, empty file beside `target` whose name nothing else has: opened
// exclusively, so two runs never share one. The open descriptor is returned.
int createSibling(const fs::path &target, const char *kind, fs::path &created)
{
    std::random_device seed;
    std::mt19937 random(seed());
    std::string prefix(1, '.');
    prefix += utf8Of(target.filename());
    prefix += kind;
    int fd = -1;
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        created = target.parent_path() / pathFromUtf8(prefix + std::to_string(random()));
        fd = openExclusive(created);
        if (fd < 0 && errno != EEXIST)
            break;
    }
    if (fd < 0)
        throw Failure("no se pudo crear un temporal junto a " + describe(target, errno));
    return fd;
}

} // namespace

AtomicFile::AtomicFile(fs::path target) : m_target(std::move(target))
{
    m_fd = createSibling(m_target, ".oxzip-", m_temporary);
}

AtomicFile::~AtomicFile()
{
    closeQuietly();
    if (!m_published) {
        std::error_code ignored;
        fs::remove(m_temporary, ignored);
    }
}

void AtomicFile::closeQuietly()
{
    if (m_fd >= 0)
        closeFd(m_fd);
    m_fd = -1;
}

void AtomicFile::write(const char *data, std::size_t size)
{
    while (size > 0) {
        const long long written = writeSome(m_fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            throw Failure("no se pudo escribir " + describe(m_temporary, errno));
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void AtomicFile::finish()
{
    const int flushed = flushToDisk(m_fd);
    const int flushError = errno;
    const int closed = closeFd(m_fd);
    m_fd = -1;
    if (flushed != 0 || closed != 0)
        throw Failure("no se pudo escribir " + describe(m_temporary, flushed ? flushError : errno));
}

void AtomicFile::takePermissions(unsigned newFilePermissions)
{
    std::error_code ec;
    const fs::file_status old = fs::status(m_target, ec);
    const fs::perms perms = fs::is_regular_file(old)
                                ? old.permissions() & fs::perms::mask
                                : fs::perms(newFilePermissions & ~currentUmask() & 0777u);
    fs::permissions(m_temporary, perms, fs::perm_options::replace, ec);
    if (ec)
        throw Failure("no se pudieron fijar los permisos de " + describe(m_temporary, ec.value()));
}

void AtomicFile::publish(unsigned newFilePermissions)
{
    takePermissions(newFilePermissions);
    std::error_code ec;
    fs::rename(m_temporary, m_target, ec);
    if (ec)
        throw Failure("no se pudo reemplazar " + describe(m_target, ec.value()));
    m_published = true;
    syncFolder(m_target.parent_path());
}

fs::path AtomicFile::publishKeepingOld(unsigned newFilePermissions)
{
    takePermissions(newFilePermissions);
    std::error_code ec;
    fs::path aside;
    if (fs::exists(fs::symlink_status(m_target, ec))) {
        // Renamed over a placeholder of its own, so no other file is lost.
        closeFd(createSibling(m_target, ".oxzip-old-", aside));
        fs::rename(m_target, aside, ec);
        if (ec) {
            const int error = ec.value();
            fs::remove(aside, ec);
            throw Failure("no se pudo apartar " + describe(m_target, error));
        }
    }
    fs::rename(m_temporary, m_target, ec);
    if (ec) {
        const int error = ec.value();
        if (!aside.empty())
            fs::rename(aside, m_target, ec);
        throw Failure("no se pudo reemplazar " + describe(m_target, error));
    }
    m_published = true;
    syncFolder(m_target.parent_path());
    return aside;
}

void AtomicFile::unpublish(const fs::path &aside)
{
    std::error_code ignored;
    if (aside.empty())
        fs::remove(m_target, ignored);
    else
        fs::rename(aside, m_target, ignored);
    m_published = false;
}

} // namespace orvex::oxzip
