#include "oxzip/Staging.h"

#include "oxzip/Failure.h"
#include "oxzip/Utf8Path.h"

#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace orvex::oxzip {

Staging::~Staging()
{
    m_files.clear();
    std::error_code ignored;
    for (auto it = m_folders.rbegin(); it != m_folders.rend(); ++it)
        fs::remove(*it, ignored); // only while still empty
}

void Staging::makeFolders(const fs::path &folder)
{
    std::error_code ec;
    if (fs::is_directory(folder, ec))
        return;
    if (folder.has_parent_path() && folder.parent_path() != folder)
        makeFolders(folder.parent_path());
    if (!fs::create_directory(folder, ec) && !fs::is_directory(folder))
        throw Failure("no se pudo crear la carpeta \"" + utf8Of(folder) +
                      "\": " + (ec ? ec.message() : std::string("existe un archivo")));
    m_folders.push_back(folder);
}

AtomicFile &Staging::addFile(const fs::path &destination, unsigned permissions)
{
    m_files.push_back({std::make_unique<AtomicFile>(destination), permissions});
    return *m_files.back().file;
}

void Staging::publish()
{
    std::vector<std::pair<AtomicFile *, fs::path>> done; // and where its old file went
    try {
        for (Staged &staged : m_files)
            done.emplace_back(staged.file.get(),
                              staged.file->publishKeepingOld(staged.permissions));
    } catch (...) {
        for (auto it = done.rbegin(); it != done.rend(); ++it)
            it->first->unpublish(it->second);
        throw;
    }
    std::error_code ignored;
    for (const auto &[file, aside] : done) {
        if (!aside.empty())
            fs::remove(aside, ignored);
    }
    m_files.clear();
    m_folders.clear();
}

} // namespace orvex::oxzip
