#pragma once

#include <string>

namespace orvex::oxzip {

// Windows' file systems treat names that differ only in case as one name.
#ifdef _WIN32
inline constexpr bool kNamesIgnoreCase = true;
#else
inline constexpr bool kNamesIgnoreCase = false;
#endif

// A UTF-8 name in the form under which the file system's equal names are equal.
std::string nameKey(std::string name);

} // namespace orvex::oxzip
