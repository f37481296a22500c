#pragma once
// Extracts an archive into a folder, all or nothing.
//
// First the central directory is judged as a whole (EntrySafety.h): one unsafe
// name, link entry, encrypted or unknown-method entry, or size beyond the
// limits refuses the archive before anything is written. Then every file is
// streamed in chunks into a temporary beside its destination, checking that
// it yields exactly the bytes it declared and the right checksum. Only when
// all of them are complete are they renamed over the old files (keeping the
// old files' permission bits). A failure before that point removes the
// temporaries and the folders made for them, leaving the target as it was.
#include <filesystem>

namespace orvex::oxzip {

void extractArchive(const std::filesystem::path &archive, const std::filesystem::path &folder);

} // namespace orvex::oxzip
