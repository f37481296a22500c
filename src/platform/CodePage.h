#pragma once
// Text and the system's ANSI code page: the system's own on Windows,
// Windows-1252 elsewhere, so that "Año" is the bytes 41 F1 6F on every
// platform. Standard types only: the Windows implementation is built without
// Qt.
#include <cstddef>
#include <string>
#include <string_view>

namespace orvex::platform {

// UTF-16 text to ANSI bytes. A character the code page cannot hold becomes
// '?' (never a look-alike: "ő" is not quietly turned into "o").
std::string encodeAnsi(std::u16string_view text);

// ANSI bytes to UTF-16 text.
std::u16string decodeAnsi(std::string_view bytes);
// The same into `out`, which has room for bytes.size() units (an ANSI byte
// never gives more than one); returns the units written.
std::size_t decodeAnsiTo(std::string_view bytes, char16_t *out);

} // namespace orvex::platform
