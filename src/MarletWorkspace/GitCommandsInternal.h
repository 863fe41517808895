// What checkouts and worktrees share of running git.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// The git that a request uses, in one of its folders.
struct Git {
    const CommandRunner& runner;
    std::string executable;
    std::string folder;

    // Unless told otherwise it has half a minute and its parent's environment.
    CommandResult run(const std::vector<std::string>& arguments, double timeout = 30,
                      std::map<std::string, std::string> environment = {}) const;
};

// It ended by itself, and well.
bool succeeded(const CommandResult& result);

// What git gets besides its parent's environment: it asks nobody, and has `token` for the host of `remote` if that is
// an https address. The token is in no argument, address or file.
std::map<std::string, std::string> gitEnvironment(const std::string& remote, const std::optional<std::string>& token);

// Throws CheckoutError::commandFailed unless the command ended well in time. Its message is what the command said,
// without `token`, which the command had.
void check(const CommandResult& result, const std::string& command, const std::optional<std::string>& token = {});

// The addresses in the text without their user names and passwords: people keep tokens there. "git@" of ssh stays.
std::string withoutUserInfo(std::string_view text);

}  // namespace marlet
