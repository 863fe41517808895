#include "MarletWorkspace/ToolSettings.h"

#include "MarletBase/LocalizedError.h"

namespace marlet {

std::string title(GitChoice choice) {
    switch (choice) {
        case GitChoice::automatic:
            return "Automatic";
        case GitChoice::apple:
            return "Apple (Xcode or Command Line Tools)";
        case GitChoice::homebrew:
            return "Homebrew";
        case GitChoice::custom:
            return "Custom";
    }
    programmingError("A choice of git has no title.");
}

}  // namespace marlet
