#pragma once

#include <string>
#include <vector>

#include "cli/command_io.h"

namespace lumisk {

// The whole command line: parses the arguments (without the program's name), carries the command out, says what went
// wrong in one line on io.err, and gives the exit status.
int runCommandLine(const std::vector<std::string>& arguments, CommandIo& io);

}  // namespace lumisk
