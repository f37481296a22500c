#include "oxzip/ArchiveExtractor.h"

#include "oxzip/CentralDirectory.h"
#include "oxzip/EntrySafety.h"
#include "oxzip/ExtractionPlan.h"
#include "oxzip/Failure.h"
#include "oxzip/Staging.h"
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
const char kUnsafeName[] = "nombre no permitido (sale de la carpeta o lleva caracteres de control)";

struct Discard
{
    void operator()(zip_t *zip) const { zip_discard(zip); }
};
using ZipHandle = std::unique_ptr<zip_t, Discard>;

struct CloseFile
{
    void operator()(zip_file_t *file) const { zip_fclose(file); }
};

// Without ZIP_CHECKCONS: that flag also refuses honest archives whose local
// headers differ from the central directory in ways that do not matter here
// (bsdtar's, Info-ZIP's Zip64 ones). What matters is checked below: names as
// bytes, links, methods, declared sizes, and while reading, actual sizes and
// checksums.
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
    ZipHandle zip(zip_open(name.c_str(), ZIP_RDONLY, &code));
    if (!zip) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string reason = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw Failure("\"" + name + "\" no es un zip válido: " + reason);
    }
    return zip;
}

[[noreturn]] void unreadableIndex(zip_t *zip)
{
    throw Failure(std::string("no se pudo leer el índice del zip: ") + zip_strerror(zip));
}

// The name libzip gives entry `index`, once the directory's own bytes for it
// are known to be safe (a NUL would cut libzip's copy short) and to be what
// libzip read, from the name field or a Unicode Path field.
std::string checkedName(zip_t *zip, zip_uint64_t index, const RawEntryName &raw)
{
    const char *libzipRaw = zip_get_name(zip, index, ZIP_FL_ENC_RAW);
    const char *name = zip_get_name(zip, index, 0);
    if (!libzipRaw || !name)
        unreadableIndex(zip);
    if (!safeEntryParts(raw.name))
        throw entryRefused(raw.name, kUnsafeName);
    if (libzipRaw != raw.name && libzipRaw != raw.unicodeName)
        throw entryRefused(raw.name, "el índice del zip no es coherente");
    return name;
}

// Judges every entry from the central directory; nothing touches the disk.
ExtractionPlan planExtraction(zip_t *zip, const fs::path &archive, const fs::path &root)
{
    const std::vector<RawEntryName> rawNames = entryNamesOf(archive);
    if (rawNames.size() != static_cast<zip_uint64_t>(zip_get_num_entries(zip, 0)))
        throw Failure("el índice del zip no es coherente");
    ExtractionPlan plan(root);
    for (zip_uint64_t index = 0; index < rawNames.size(); ++index) {
        const std::string name = checkedName(zip, index, rawNames[index]);
        const auto parts = safeEntryParts(name);
        if (!parts)
            throw entryRefused(name, kUnsafeName);
        zip_stat_t stat;
        zip_uint8_t host = 0;
        zip_uint32_t attributes = 0;
        if (zip_stat_index(zip, index, 0, &stat) < 0 ||
            zip_file_get_external_attributes(zip, index, 0, &host, &attributes) < 0)
            unreadableIndex(zip);
        if (isSymlinkEntry(host, attributes))
            throw entryRefused(name, "es un enlace simbólico");
        if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) && stat.encryption_method != ZIP_EM_NONE)
            throw entryRefused(name, "está cifrada");
        if (!(stat.valid & ZIP_STAT_COMP_METHOD) ||
            !zip_compression_method_supported(stat.comp_method, 0))
            throw entryRefused(name, "método de compresión " +
                                         compressionMethodName(stat.comp_method) + " no soportado");
        if (!(stat.valid & ZIP_STAT_SIZE))
            throw entryRefused(name, "tamaño desconocido");
        if (name.back() == '/' || name.back() == '\\') {
            plan.addFolder(name, *parts);
            continue;
        }
        const unsigned bits = unixPermissions(host, attributes);
        plan.addFile({index, name, {}, stat.size, bits ? bits : kDefaultPermissions}, *parts);
    }
    return plan;
}

// The staged files live beside the old ones until the end.
void checkFreeSpace(fs::path folder, std::uint64_t needed)
{
    std::error_code ec;
    while (!fs::exists(folder, ec) && folder.has_relative_path())
        folder = folder.parent_path();
    const fs::space_info space = fs::space(folder, ec);
    if (!ec && space.available < needed)
        throw Failure("no hay espacio en el disco: el contenido ocupa " +
                      std::to_string(needed >> 20) + " MiB y quedan " +
                      std::to_string(space.available >> 20) + " MiB libres");
}

// Streams one entry into its temporary, holding it to its declared size;
// libzip checks the CRC once the whole entry has been read.
void stage(zip_t *zip, const PlannedFile &entry, AtomicFile &file)
{
    std::unique_ptr<zip_file_t, CloseFile> in(zip_fopen_index(zip, entry.index, 0));
    if (!in)
        throw entryRefused(entry.entryName, std::string("no se puede leer: ") + zip_strerror(zip));
    std::vector<char> buffer(kChunk);
    std::uint64_t produced = 0;
    for (;;) {
        const zip_int64_t got = zip_fread(in.get(), buffer.data(), buffer.size());
        if (got < 0)
            throw entryRefused(entry.entryName,
                               std::string("datos dañados: ") + zip_file_strerror(in.get()));
        if (got == 0)
            break;
        produced += static_cast<std::uint64_t>(got);
        if (produced > entry.size)
            throw entryRefused(entry.entryName, "produce más datos de los declarados");
        file.write(buffer.data(), static_cast<size_t>(got));
    }
    if (produced != entry.size)
        throw entryRefused(entry.entryName, "produce menos datos de los declarados");
    file.finish();
}

} // namespace

void extractArchive(const fs::path &archive, const fs::path &folder)
{
    ZipHandle zip = openArchive(archive);
    std::error_code ec;
    fs::path root = fs::weakly_canonical(fs::absolute(folder, ec), ec);
    if (ec)
        throw Failure("carpeta de destino no válida \"" + utf8Of(folder) + "\": " + ec.message());
    if (!root.has_filename() && root.has_relative_path())
        root = root.parent_path(); // "out/" is "out"
    const ExtractionPlan planned = planExtraction(zip.get(), archive, root);
    checkFreeSpace(root, planned.totalSize());
    Staging staging;
    staging.makeFolders(root);
    for (const fs::path &made : planned.folders())
        staging.makeFolders(made);
    for (const PlannedFile &entry : planned.files())
        stage(zip.get(), entry, staging.addFile(entry.destination, entry.permissions));
    staging.publish();
}

} // namespace orvex::oxzip
