#include "oxzip/ExtractionPlan.h"

#include "oxzip/EntrySafety.h"
#include "oxzip/Failure.h"
#include "oxzip/NameKey.h"
#include "oxzip/Utf8Path.h"

#include <system_error>

namespace fs = std::filesystem;

namespace orvex::oxzip {

ExtractionPlan::ExtractionPlan(fs::path root) : m_root(std::move(root)) {}

fs::path ExtractionPlan::place(const std::string &entryName,
                               const std::vector<std::string> &parts) const
{
    const auto destination = resolvedInside(m_root, parts);
    if (!destination)
        throw entryRefused(entryName, "el destino queda fuera de la carpeta");
    return *destination;
}

void ExtractionPlan::addFolder(const std::string &entryName, const std::vector<std::string> &parts)
{
    if (parts.empty())
        return; // "./": the target folder itself
    const fs::path path = place(entryName, parts);
    claimParents(entryName, path);
    claim(entryName, path, Kind::Folder);
}

void ExtractionPlan::addFile(PlannedFile file, const std::vector<std::string> &parts)
{
    if (parts.empty())
        throw entryRefused(file.entryName, "no nombra ningún archivo");
    if (file.size > kMaxTotalSize - m_totalSize)
        throw entryRefused(file.entryName, "el contenido supera el límite de " +
                                               std::to_string(kMaxTotalSize >> 20) + " MiB");
    file.destination = place(file.entryName, parts);
    claimParents(file.entryName, file.destination);
    claim(file.entryName, file.destination, Kind::File);
    m_totalSize += file.size;
    m_files.push_back(std::move(file));
}

// Top down, so a file on disk where a folder must go is met before what lies below it.
void ExtractionPlan::claimParents(const std::string &entryName, const fs::path &path)
{
    fs::path parent = m_root;
    const fs::path relative = path.lexically_relative(m_root).parent_path();
    for (const fs::path &part : relative) {
        parent /= part;
        claim(entryName, parent, Kind::Folder);
    }
}

void ExtractionPlan::claim(const std::string &entryName, const fs::path &path, Kind kind)
{
    const std::string key = nameKey(genericUtf8Of(path.lexically_relative(m_root)));
    const auto [claimed, isNew] = m_claims.emplace(key, kind);
    if (!isNew) {
        if (kind == Kind::Folder && claimed->second == Kind::Folder)
            return;
        throw entryRefused(entryName, claimed->second == kind
                                          ? "el archivo \"" + key + "\" aparece dos veces"
                                          : "\"" + key + "\" sería archivo y carpeta a la vez");
    }
    std::error_code ec;
    const fs::file_status onDisk = fs::status(path, ec);
    if (kind == Kind::File && fs::is_directory(onDisk))
        throw entryRefused(entryName, "en el destino hay una carpeta con ese nombre");
    if (kind == Kind::File && fs::exists(onDisk) && !fs::is_regular_file(onDisk))
        throw entryRefused(entryName, "en el destino hay algo que no es un archivo");
    if (kind == Kind::Folder && fs::exists(onDisk) && !fs::is_directory(onDisk))
        throw entryRefused(entryName, "en el destino \"" + key + "\" no es una carpeta");
    if (kind == Kind::Folder && !fs::exists(onDisk))
        m_folders.push_back(path);
}

} // namespace orvex::oxzip
