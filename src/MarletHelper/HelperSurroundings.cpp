#include "MarletHelper/HelperSurroundings.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "MarletWorkspace/ProcessRunner.h"

namespace marlet {
namespace {

// As "git rev-parse --local-env-vars" lists them, but for the user's configuration, and what comes with a push or a
// namespace.
constexpr auto repositoryVariables = {
    "GIT_ALTERNATE_OBJECT_DIRECTORIES",
    "GIT_COMMON_DIR",
    "GIT_CONFIG",
    "GIT_DIR",
    "GIT_GRAFT_FILE",
    "GIT_IMPLICIT_WORK_TREE",
    "GIT_INDEX_FILE",
    "GIT_INTERNAL_SUPER_PREFIX",
    "GIT_NAMESPACE",
    "GIT_NO_REPLACE_OBJECTS",
    "GIT_OBJECT_DIRECTORY",
    "GIT_PREFIX",
    "GIT_QUARANTINE_PATH",
    "GIT_REPLACE_REF_BASE",
    "GIT_SHALLOW_FILE",
    "GIT_WORK_TREE",
};

}  // namespace

void dropRepositoryVariables() {
    for (const char* variable : repositoryVariables) {
        ::unsetenv(variable);
    }
}

std::string userHomeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home != '\0') {
        return home;
    }
    const passwd* user = ::getpwuid(::getuid());
    return user && user->pw_dir ? user->pw_dir : "/";
}

CheckoutService liveCheckoutService() {
    std::string home = userHomeDirectory();
    std::string shell = loginShell(::getpwuid(::getuid()));
    auto runner = std::make_shared<const ProcessRunner>(toolFolders(home));
    ToolLocator locator = ToolLocator::live(runner, home, shell);
    return {runner, std::move(locator), home};
}

}  // namespace marlet
