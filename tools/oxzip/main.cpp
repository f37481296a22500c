// oxzip: the archiver the agent runs to save and restore the installation's
// configuration. See Oxzip.h and CommandLine.h.
#include "oxzip/Oxzip.h"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char **argv)
{
    return orvex::oxzip::run(std::vector<std::string>(argv + 1, argv + argc), std::cerr);
}
