#pragma once
// What every part of the archiver throws when it cannot go on: the one line
// the program prints on stderr (after "oxzip: ") and the status it exits with.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvex::oxzip {

enum ExitStatus : int {
    kSuccess = 0,
    kFailed = 1,    // the archive could not be written, read or extracted
    kUsageError = 2 // the command line is not one of the two accepted forms
};

class Failure : public std::runtime_error
{
public:
    explicit Failure(const std::string &message, ExitStatus status = kFailed)
        : std::runtime_error(message), m_status(status)
    {}
    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

// An archive refused for one of its entries. Control bytes in the name are
// shown as \xNN, so the message stays one readable line.
inline Failure entryRefused(std::string_view name, const std::string &why)
{
    std::string shown;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
            shown += escaped;
        } else {
            shown += c;
        }
    }
    return Failure("archivo rechazado, entrada \"" + shown + "\": " + why);
}

} // namespace orvex::oxzip
