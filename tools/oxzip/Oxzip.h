#pragma once
// The whole program behind main(): parses the command line, runs it and turns
// any failure into one "oxzip: ..." line on `err` and the exit status.
#include <ostream>
#include <string>
#include <vector>

namespace orvex::oxzip {

// `args` without the program name, UTF-8.
int run(const std::vector<std::string> &args, std::ostream &err);

} // namespace orvex::oxzip
