#pragma once

#include <string>
#include <vector>

namespace marlet {

// The whole program: follows the arguments, writes to standard output and standard error, and gives the exit status
// (0 done, 1 failed, 2 a command line that can't be followed).
int runClient(const std::vector<std::string>& arguments);

}  // namespace marlet
