#pragma once
// Everything an extraction will make, decided before anything is written.
//
// Each entry is placed below the target folder (links already on disk are
// followed, and may not lead out of it). A path is either a folder or a file,
// for the whole archive and for the disk: a file "x" and a file "x/y", a
// folder "d/" and a file "d", the same file twice, a file where the disk has a
// folder or a folder where the disk has a file, all refuse the archive,
// whatever order its entries come in. On Windows names differing only in
// letter case are the same path.
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace orvex::oxzip {

struct PlannedFile
{
    std::uint64_t index = 0; // in the archive
    std::string entryName;
    std::filesystem::path destination;
    std::uint64_t size = 0;
    unsigned permissions = 0; // for a new file; an old file keeps its own
};

class ExtractionPlan
{
public:
    // `root`: absolute and resolved (weakly_canonical).
    explicit ExtractionPlan(std::filesystem::path root);

    // Both throw Failure naming the entry when it cannot be placed.
    void addFolder(const std::string &entryName, const std::vector<std::string> &parts);
    void addFile(PlannedFile file, const std::vector<std::string> &parts);

    // The folders to make (those the disk lacks), each after its parent; the
    // files in archive order; the sum of their declared sizes, which may not
    // pass kMaxTotalSize.
    const std::vector<std::filesystem::path> &folders() const { return m_folders; }
    const std::vector<PlannedFile> &files() const { return m_files; }
    std::uint64_t totalSize() const { return m_totalSize; }

private:
    enum class Kind { Folder, File };
    std::filesystem::path place(const std::string &entryName,
                                const std::vector<std::string> &parts) const;
    void claim(const std::string &entryName, const std::filesystem::path &path, Kind kind);
    void claimParents(const std::string &entryName, const std::filesystem::path &path);

    std::filesystem::path m_root;
    std::map<std::string, Kind> m_claims; // by path below the root, as compared here
    std::vector<std::filesystem::path> m_folders;
    std::vector<PlannedFile> m_files;
    std::uint64_t m_totalSize = 0;
};

} // namespace orvex::oxzip
