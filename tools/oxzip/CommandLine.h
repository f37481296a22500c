#pragma once
// The two command lines the agent builds, and nothing else:
//   oxzip -add -directories=relative ARCHIVE PATTERN...
//   oxzip -extract -overwrite=all ARCHIVE FOLDER
// The switches are compared without regard to letter case and must come in
// that order; anything else is a usage error (Failure with kUsageError).
#include <string>
#include <vector>

namespace orvex::oxzip {

struct Command
{
    enum class Mode { Add, Extract };
    Mode mode = Mode::Add;
    std::string archive;
    std::vector<std::string> patterns; // Add only, at least one
    std::string folder;                // Extract only
};

// `args` without the program name.
Command parseCommandLine(const std::vector<std::string> &args);

} // namespace orvex::oxzip
