#pragma once
// The whole program behind main(): parses the command line, runs it and turns
// any failure into one "oxzip: ..." line on `err` and the exit status. A link
// an "-add" leaves out is reported the same way, one line each, and is no failure.
#include <ostream>
#include <string>
#include <vector>

namespace orvex::oxzip {

// `args` without the program name, UTF-8.
int run(const std::vector<std::string> &args, std::ostream &err);

} // namespace orvex::oxzip
