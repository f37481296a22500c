#pragma once
// What every part of the archiver throws when it cannot go on: the one line
// the program prints on stderr (after "oxzip: ") and the status it exits with.
#include <stdexcept>
#include <string>

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

} // namespace orvex::oxzip
