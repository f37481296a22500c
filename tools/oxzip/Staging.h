#pragma once
// The files and folders of one extraction, put in place together or not at all.
//
// Folders are made first. Each file is written to a temporary beside its
// destination (AtomicFile). publish() then swaps them in one by one, each old
// file first moved aside; when one swap fails, those already done are undone
// in reverse, so every destination holds its old file again. Whatever was not
// published goes away with the object: temporaries, and the folders it made
// once they are empty again.
#include "oxzip/AtomicFile.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace orvex::oxzip {

class Staging
{
public:
    Staging() = default;
    ~Staging();
    Staging(const Staging &) = delete;
    Staging &operator=(const Staging &) = delete;

    // Makes `folder` and any missing parent; throws Failure.
    void makeFolders(const std::filesystem::path &folder);
    // A new temporary for `destination`, to be written and finished by the
    // caller; `permissions` apply when there is no old file to keep them from.
    AtomicFile &addFile(const std::filesystem::path &destination, unsigned permissions);
    void publish(); // throws Failure

private:
    struct Staged
    {
        std::unique_ptr<AtomicFile> file;
        unsigned permissions = 0;
    };
    std::vector<Staged> m_files;
    std::vector<std::filesystem::path> m_folders;
};

} // namespace orvex::oxzip
