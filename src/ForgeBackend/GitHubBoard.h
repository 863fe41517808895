#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace marlet {

// Which Projects board: what the id of its project says.
struct GitHubBoard {
    enum class Owner { orgs, users };
    BOOST_DESCRIBE_NESTED_ENUM(Owner, orgs, users)

    Owner owner = Owner::orgs;
    std::string login;
    int64_t number = 0;

    // No value for an id that names no board, such as a repository's.
    static std::optional<GitHubBoard> parse(std::string_view projectID);

    // The id that parses to this board: "projects/orgs/acme/12".
    std::string projectID() const;
    // Where the REST API has the board: "orgs/acme/projectsV2/12".
    std::string apiPath() const;
    // Where the API lists the boards of an owner: "orgs/acme/projectsV2".
    static std::string listPath(Owner owner, const std::string& login);

    bool operator==(const GitHubBoard&) const = default;
};

}  // namespace marlet
