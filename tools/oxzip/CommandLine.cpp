#include "oxzip/CommandLine.h"

#include "oxzip/Failure.h"

#include <algorithm>

namespace orvex::oxzip {
namespace {

const char kUsage[] = "uso: oxzip -add -directories=relative ARCHIVO PATRÓN... | "
                      "oxzip -extract -overwrite=all ARCHIVO CARPETA";

[[noreturn]] void usageError(const std::string &what)
{
    throw Failure(what + "; " + kUsage, kUsageError);
}

bool sameSwitch(const std::string &arg, const std::string &expected)
{
    return std::equal(arg.begin(), arg.end(), expected.begin(), expected.end(), [](char a, char b) {
        if (a >= 'A' && a <= 'Z')
            a = static_cast<char>(a - 'A' + 'a');
        return a == b;
    });
}

void expectSwitch(const std::vector<std::string> &args, size_t at, const std::string &expected)
{
    if (args.size() <= at)
        usageError("falta el parámetro " + expected);
    if (!sameSwitch(args[at], expected))
        usageError("parámetro no válido \"" + args[at] + "\" (se esperaba " + expected + ")");
}

void expectOperand(const std::vector<std::string> &args, size_t at, const char *name)
{
    if (args.size() <= at)
        usageError(std::string("falta ") + name);
    if (args[at].empty())
        usageError(std::string(name) + " vacío");
}

} // namespace

Command parseCommandLine(const std::vector<std::string> &args)
{
    if (args.empty())
        usageError("faltan parámetros");
    Command command;
    if (sameSwitch(args[0], "-add")) {
        expectSwitch(args, 1, "-directories=relative");
        expectOperand(args, 2, "el archivo");
        expectOperand(args, 3, "un patrón");
        command.mode = Command::Mode::Add;
        command.archive = args[2];
        for (size_t i = 3; i < args.size(); ++i) {
            expectOperand(args, i, "un patrón");
            command.patterns.push_back(args[i]);
        }
        return command;
    }
    if (sameSwitch(args[0], "-extract")) {
        expectSwitch(args, 1, "-overwrite=all");
        expectOperand(args, 2, "el archivo");
        expectOperand(args, 3, "la carpeta");
        if (args.size() > 4)
            usageError("sobra el parámetro \"" + args[4] + "\"");
        command.mode = Command::Mode::Extract;
        command.archive = args[2];
        command.folder = args[3];
        return command;
    }
    usageError("parámetro no válido \"" + args[0] + "\" (se esperaba -add o -extract)");
}

} // namespace orvex::oxzip
