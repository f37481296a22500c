#pragma once
// Extracts an archive into a folder, all or nothing.
//
// First the whole extraction is planned from the central directory
// (EntrySafety.h, ExtractionPlan.h): one unsafe name (judged as the bytes the
// archive holds), link entry, encrypted or unknown-method entry, clash
// between files and folders, or size beyond the limit or the free disk space
// refuses the archive before anything is written. Then every file is
// streamed into a temporary beside its destination, checking that it yields
// exactly the bytes it declared and the right checksum. Only when all of them
// are complete are they swapped in (Staging.h), keeping the old files'
// permission bits; a failure at any point leaves the target as it was.
#include <filesystem>

namespace orvex::oxzip {

void extractArchive(const std::filesystem::path &archive, const std::filesystem::path &folder);

} // namespace orvex::oxzip
