#include "oxzip/Oxzip.h"

#include "oxzip/ArchiveExtractor.h"
#include "oxzip/ArchiveWriter.h"
#include "oxzip/CommandLine.h"
#include "oxzip/Failure.h"
#include "oxzip/PatternExpansion.h"
#include "oxzip/Utf8Path.h"

#include <exception>
#include <filesystem>
#include <new>

namespace orvex::oxzip {
namespace {

void report(std::ostream &err, const std::string &message)
{
    std::string line = message;
    // One line whatever a file name or a library message holds.
    for (char &c : line) {
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    err << "oxzip: " << line << '\n';
    err.flush();
}

} // namespace

int run(const std::vector<std::string> &args, std::ostream &err)
{
    try {
        const Command command = parseCommandLine(args);
        const std::filesystem::path archive = pathFromUtf8(command.archive);
        if (command.mode == Command::Mode::Add) {
            const Expansion expansion = expandPatterns(command.patterns, archive);
            for (const std::filesystem::path &link : expansion.skippedLinks)
                report(err, "se omite \"" + utf8Of(link) + "\": es un enlace");
            writeArchive(archive, expansion.items);
        } else {
            extractArchive(archive, pathFromUtf8(command.folder));
        }
        return kSuccess;
    } catch (const Failure &failure) {
        report(err, failure.what());
        return failure.status();
    } catch (const std::bad_alloc &) {
        report(err, "memoria insuficiente");
    } catch (const std::exception &error) {
        report(err, error.what());
    }
    return kFailed;
}

} // namespace orvex::oxzip
