#pragma once

#include <boost/describe.hpp>
#include <string>

namespace CLI {
class App;
}

namespace marlet {

enum class Shell { bash, zsh, fish };
BOOST_DESCRIBE_ENUM(Shell, bash, zsh, fish)

// The script by which the shell completes the commands of the tree, their options, and the values of which there are
// few. It holds all it needs: while the user types, no program is run.
std::string completionScript(Shell shell, const CLI::App& root);

}  // namespace marlet
