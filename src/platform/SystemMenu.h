#pragma once
// A window's system menu (the title-bar menu of Windows). Standard types only.
// Where the system has no such menu both calls return false and the caller
// falls back on what the toolkit offers (removing the close button).
#include <cstdint>
#include <string>
#include <vector>

namespace orvex::platform {

// Deletes the item at zero-based `position` of `window`'s system menu.
bool deleteSystemMenuItem(std::uint64_t window, int position);

// Appends a separator and then one item per line (UTF-8).
bool appendSystemMenuLines(std::uint64_t window, const std::vector<std::string> &lines);

} // namespace orvex::platform
