#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "MarletCore/Project.h"

namespace marlet {

// The one form in which repositories are compared, whichever way their address is spelled.
struct RepositoryCoordinates {
    std::string host;             // in lower case
    std::optional<int64_t> port;  // none for a default port
    std::string owner;            // all but the last part of the path: groups may be nested
    std::string name;             // the last part, without ".git"

    RepositoryCoordinates() = default;
    // Brings host and port into their form.
    RepositoryCoordinates(std::string host, std::optional<int64_t> port, std::string owner, std::string name);
    // From a URL or the short form of ssh; no value for anything else.
    static std::optional<RepositoryCoordinates> parse(std::string_view remote);

    // Whatever the port, and the case of owner and name.
    bool isSameRepository(const RepositoryCoordinates& other) const;
    // The host and its port as one folder's name.
    std::string hostFolderName() const;

    bool operator==(const RepositoryCoordinates&) const = default;
};
BOOST_DESCRIBE_STRUCT(RepositoryCoordinates, (), (host, port, owner, name))

enum class CloneProtocol { ssh, https };
BOOST_DESCRIBE_ENUM(CloneProtocol, ssh, https)

std::string title(CloneProtocol protocol);

// Whether the project has an address to clone from.
bool isRepository(const Project& project);
std::optional<RepositoryCoordinates> repositoryCoordinates(const Project& project);
// By the protocol that is wanted, or else the other one.
std::optional<std::string> cloneAddress(const Project& project, CloneProtocol wanted);

}  // namespace marlet
