#pragma once

#include <optional>
#include <string>

#include "MarletBase/URL.h"

namespace marlet {

// One change on a server that is news to the user.
struct RemoteChange {
    std::string key;
    std::string title;
    std::string projectName;
    bool isNew = false;  // not seen before
    std::optional<URL> webURL;

    bool operator==(const RemoteChange&) const = default;
};

}  // namespace marlet
