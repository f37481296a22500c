#pragma once
// A file that replaces `target` in one step: the bytes go to a temporary file
// in the same folder, which is flushed to disk and then renamed over the
// target, so a reader sees either the old file or the whole new one. The
// temporary is removed when the object goes away without publish().
#include <cstddef>
#include <filesystem>

namespace orvex::oxzip {

class AtomicFile
{
public:
    explicit AtomicFile(std::filesystem::path target); // throws Failure
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    void write(const char *data, std::size_t size); // throws Failure
    // Flushes and closes; nothing may be written after it.
    void finish(); // throws Failure
    // Gives the new file the old one's permission bits, or `newFilePermissions`
    // (reduced by the umask) when there was none, and renames it into place.
    void publish(unsigned newFilePermissions); // throws Failure
    // The same, but an old target is first renamed aside, and the name it got
    // returned (empty when there was none), so that unpublish() can put it
    // back. The caller removes it once the replacement stands.
    std::filesystem::path publishKeepingOld(unsigned newFilePermissions); // throws Failure
    void unpublish(const std::filesystem::path &aside);

    const std::filesystem::path &target() const { return m_target; }
    const std::filesystem::path &temporary() const { return m_temporary; }

private:
    void closeQuietly();
    void takePermissions(unsigned newFilePermissions);

    std::filesystem::path m_target;
    std::filesystem::path m_temporary;
    int m_fd = -1;
    bool m_published = false;
};

} // namespace orvex::oxzip
