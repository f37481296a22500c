#pragma once
// Reads the fixed file version out of a Windows executable's version
// resource, from the file's bytes alone, so the same answer comes out on every
// platform and the parser can be tested and fuzzed without touching a disk.
#include <QByteArrayView>

#include <array>
#include <cstdint>
#include <optional>

namespace orvex {

// major, minor, build, revision
using PeFileVersion = std::array<std::uint16_t, 4>;

// The dwFileVersionMS/LS pair of the VS_FIXEDFILEINFO in the first RT_VERSION
// resource (first name, first language) of a PE32 or PE32+ image. nullopt when
// the bytes are not such an image, have no version resource, or any structure
// on the way points outside the bytes.
std::optional<PeFileVersion> peFileVersion(QByteArrayView image);

} // namespace orvex
