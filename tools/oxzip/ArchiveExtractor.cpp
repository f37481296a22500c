#include "oxzip/ArchiveExtractor.h"

#include "oxzip/AtomicFile.h"
#include "oxzip/EntrySafety.h"
#include "oxzip/Failure.h"
#include "oxzip/Utf8Path.h"

#include <zip.h>

#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace orvex::oxzip {
namespace {

constexpr size_t kChunk = 64 * 1024;
constexpr unsigned kDefaultPermissions = 0666;

struct Discard
{
    void operator()(zip_t *zip) const { zip_discard(zip); }
};
using ZipHandle = std::unique_ptr<zip_t, Discard>;

struct CloseFile
{
    void operator()(zip_file_t *file) const { zip_fclose(file); }
};

struct PlannedEntry
{
    zip_uint64_t index = 0;
    std::string name;
    fs::path destination;
    bool isFolder = false;
    std::uint64_t size = 0;
    unsigned permissions = kDefaultPermissions;
};

[[noreturn]] void refuse(const std::string &name, const std::string &why)
{
    throw Failure("archivo rechazado, entrada \"" + name + "\": " + why);
}

ZipHandle openArchive(const fs::path &archive)
{
    const std::string name = utf8Of(archive);
    std::error_code ec;
    if (!fs::is_regular_file(archive, ec))
        throw Failure("no existe el archivo \"" + name + "\"");
    // libzip takes an empty file for an empty archive; here it is a broken download.
    if (fs::file_size(archive, ec) == 0)
        throw Failure("\"" + name + "\" está vacío, no es un zip");
    int code = 0;
    ZipHandle zip(zip_open(name.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &code));
    if (!zip) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string reason = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw Failure("\"" + name + "\" no es un zip válido: " + reason);
    }
    return zip;
}

// Judges every entry from the central directory; nothing touches the disk.
std::vector<PlannedEntry> plan(zip_t *zip, const fs::path &root)
{
    const zip_int64_t count = zip_get_num_entries(zip, 0);
    std::vector<PlannedEntry> entries;
    std::uint64_t total = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        const auto index = static_cast<zip_uint64_t>(i);
        zip_stat_t stat;
        const char *rawName = zip_get_name(zip, index, 0);
        if (!rawName || zip_stat_index(zip, index, 0, &stat) < 0)
            throw Failure(std::string("no se pudo leer el índice del zip: ") + zip_strerror(zip));
        const std::string name = rawName;
        const auto parts = safeEntryParts(name);
        if (!parts)
            refuse(name, "el nombre sale de la carpeta de destino");
        zip_uint8_t host = 0;
        zip_uint32_t attributes = 0;
        if (zip_file_get_external_attributes(zip, index, 0, &host, &attributes) < 0)
            throw Failure(std::string("no se pudo leer el índice del zip: ") + zip_strerror(zip));
        if (isSymlinkEntry(host, attributes))
            refuse(name, "es un enlace simbólico");
        if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) && stat.encryption_method != ZIP_EM_NONE)
            refuse(name, "está cifrada");
        if (!(stat.valid & ZIP_STAT_COMP_METHOD) ||
            !zip_compression_method_supported(stat.comp_method, 0))
            refuse(name, "método de compresión no soportado");
        if (!(stat.valid & ZIP_STAT_SIZE) || !(stat.valid & ZIP_STAT_COMP_SIZE))
            refuse(name, "tamaño desconocido");
        if (!ratioAcceptable(stat.size, stat.comp_size))
            refuse(name,
                   "tasa de compresión sospechosa (más de " + std::to_string(kMaxRatio) + " a 1)");
        total += stat.size;
        if (stat.size > kMaxTotalSize || total > kMaxTotalSize)
            refuse(name, "el contenido supera el límite de " + std::to_string(kMaxTotalSize >> 20) +
                             " MiB");
        const auto destination = resolvedInside(root, *parts);
        if (!destination)
            refuse(name, "el destino queda fuera de la carpeta");
        const bool isFolder = name.back() == '/' || name.back() == '\\';
        std::error_code ec;
        if (!isFolder && fs::is_directory(*destination, ec))
            refuse(name, "en el destino hay una carpeta con ese nombre");
        PlannedEntry entry;
        entry.index = index;
        entry.name = name;
        entry.destination = *destination;
        entry.isFolder = isFolder;
        entry.size = stat.size;
        if (const unsigned bits = unixPermissions(host, attributes))
            entry.permissions = bits;
        entries.push_back(std::move(entry));
    }
    return entries;
}

// What the staging made: undone in reverse unless the archive is published.
class Staging
{
public:
    ~Staging()
    {
        m_files.clear();
        std::error_code ignored;
        for (auto it = m_folders.rbegin(); it != m_folders.rend(); ++it)
            fs::remove(*it, ignored); // only while still empty
    }

    void makeFolders(const fs::path &folder)
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

    void stage(zip_t *zip, const PlannedEntry &entry)
    {
        makeFolders(entry.destination.parent_path());
        auto file = std::make_unique<AtomicFile>(entry.destination);
        std::unique_ptr<zip_file_t, CloseFile> in(zip_fopen_index(zip, entry.index, 0));
        if (!in)
            refuse(entry.name, std::string("no se puede leer: ") + zip_strerror(zip));
        std::vector<char> buffer(kChunk);
        std::uint64_t produced = 0;
        for (;;) {
            const zip_int64_t got = zip_fread(in.get(), buffer.data(), buffer.size());
            if (got < 0)
                refuse(entry.name, std::string("datos dañados: ") + zip_file_strerror(in.get()));
            if (got == 0)
                break;
            produced += static_cast<std::uint64_t>(got);
            if (produced > entry.size)
                refuse(entry.name, "produce más datos de los declarados");
            file->write(buffer.data(), static_cast<size_t>(got));
        }
        if (produced != entry.size)
            refuse(entry.name, "produce menos datos de los declarados");
        file->finish();
        m_files.push_back({std::move(file), entry.permissions});
    }

    void publish()
    {
        for (Staged &staged : m_files)
            staged.file->publish(staged.permissions);
        m_files.clear();
        m_folders.clear();
    }

private:
    struct Staged
    {
        std::unique_ptr<AtomicFile> file;
        unsigned permissions;
    };
    std::vector<Staged> m_files;
    std::vector<fs::path> m_folders;
};

} // namespace

void extractArchive(const fs::path &archive, const fs::path &folder)
{
    ZipHandle zip = openArchive(archive);
    std::error_code ec;
    const fs::path root = fs::weakly_canonical(fs::absolute(folder, ec), ec);
    if (ec)
        throw Failure("carpeta de destino no válida \"" + utf8Of(folder) + "\": " + ec.message());
    const std::vector<PlannedEntry> entries = plan(zip.get(), root);
    Staging staging;
    staging.makeFolders(root);
    for (const PlannedEntry &entry : entries) {
        if (entry.isFolder)
            staging.makeFolders(entry.destination);
        else
            staging.stage(zip.get(), entry);
    }
    staging.publish();
}

} // namespace orvex::oxzip
