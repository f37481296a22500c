#pragma once
// Writes a new archive holding `items`, replacing any file at `archive`.
// libzip builds the archive in a temporary file beside it and renames that
// into place only once everything was read and written, so on any failure the
// previous archive stays whole. With no item at all the result is still a
// valid archive: an empty one (only its end record), so the agent always has
// something to upload and a later restore simply finds nothing to put back.
#include "oxzip/PatternExpansion.h"

#include <filesystem>
#include <vector>

namespace orvex::oxzip {

void writeArchive(const std::filesystem::path &archive, const std::vector<ArchiveItem> &items);

} // namespace orvex::oxzip
