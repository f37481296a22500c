#include "oxzip/ArchiveWriter.h"

#include "oxzip/AtomicFile.h"
#include "oxzip/Failure.h"
#include "oxzip/Utf8Path.h"

#include <zip.h>

#include <memory>
#include <system_error>

namespace orvex::oxzip {
namespace {

// The end-of-central-directory record of an archive without entries.
constexpr char kEmptyArchive[22] = {'P', 'K', 5, 6};

std::string libzipError(int code)
{
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    std::string text = zip_error_strerror(&error);
    zip_error_fini(&error);
    return text;
}

void writeEmptyArchive(const std::filesystem::path &archive)
{
    AtomicFile file(archive);
    file.write(kEmptyArchive, sizeof kEmptyArchive);
    file.finish();
    file.publish(0666);
}

zip_uint32_t folderAttributes(const std::filesystem::path &folder)
{
    std::error_code ec;
    auto bits = static_cast<zip_uint32_t>(std::filesystem::status(folder, ec).permissions() &
                                          std::filesystem::perms::all);
    if (ec)
        bits = 0755;
    return (0040000u | bits) << 16;
}

struct Discard
{
    void operator()(zip_t *zip) const { zip_discard(zip); }
};

} // namespace

void writeArchive(const std::filesystem::path &archive, const std::vector<ArchiveItem> &items)
{
    if (items.empty()) {
        writeEmptyArchive(archive);
        return;
    }
    const std::string archiveName = utf8Of(archive);
    int code = 0;
    std::unique_ptr<zip_t, Discard> zip(
        zip_open(archiveName.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code));
    if (!zip)
        throw Failure("no se pudo crear \"" + archiveName + "\": " + libzipError(code));
    for (const ArchiveItem &item : items) {
        if (item.isFolder) {
            const zip_int64_t index =
                zip_dir_add(zip.get(), item.entryName.c_str(), ZIP_FL_ENC_UTF_8);
            if (index < 0)
                throw Failure("no se pudo agregar \"" + item.entryName +
                              "\": " + zip_strerror(zip.get()));
            // libzip marks new folders 0777; keep what the folder has.
            zip_file_set_external_attributes(zip.get(), static_cast<zip_uint64_t>(index), 0,
                                             ZIP_OPSYS_UNIX, folderAttributes(item.source));
            continue;
        }
        // The file is opened and read only while zip_close writes the archive.
        zip_source_t *source = zip_source_file(zip.get(), utf8Of(item.source).c_str(), 0, 0);
        if (!source ||
            zip_file_add(zip.get(), item.entryName.c_str(), source, ZIP_FL_ENC_UTF_8) < 0) {
            const std::string reason = zip_strerror(zip.get());
            zip_source_free(source);
            throw Failure("no se pudo agregar \"" + utf8Of(item.source) + "\": " + reason);
        }
    }
    if (zip_close(zip.get()) < 0)
        throw Failure("no se pudo escribir \"" + archiveName + "\": " + zip_strerror(zip.get()));
    zip.release(); // zip_close freed it
}

} // namespace orvex::oxzip
