// What is asked of the helper, and what it finds.
#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>
#include <vector>

#include "MarletWorkspace/RepositoryCoordinates.h"
#include "MarletWorkspace/ToolSettings.h"

namespace marlet {

struct CheckoutRequest {
    std::string root;  // the folder below which checkouts live; may begin with a tilde
    std::vector<std::string> relativePath;
    std::string remote;  // the address to clone from
    RepositoryCoordinates repository;
    std::optional<std::string> token;  // for https
    ToolSettings tools;

    bool operator==(const CheckoutRequest&) const = default;
};
BOOST_DESCRIBE_STRUCT(CheckoutRequest, (), (root, relativePath, remote, repository, token, tools))

struct WorktreeRequest {
    std::string checkout;  // the main checkout's path
    RepositoryCoordinates repository;
    std::optional<std::string> existing;  // a worktree of before, to be used again
    std::string name;
    std::optional<std::string> pullRequestRef;
    std::optional<std::string> token;
    ToolSettings tools;

    bool operator==(const WorktreeRequest&) const = default;
};
BOOST_DESCRIBE_STRUCT(WorktreeRequest, (), (checkout, repository, existing, name, pullRequestRef, token, tools))

struct MCPRegistration {
    std::string folder;
    std::string endpoint;
    std::string token;
    ToolSettings tools;

    bool operator==(const MCPRegistration&) const = default;
};
BOOST_DESCRIBE_STRUCT(MCPRegistration, (), (folder, endpoint, token, tools))

struct CheckoutResult {
    std::string path;  // absolute
    bool cloned = false;
    std::optional<std::string> branch;

    bool operator==(const CheckoutResult&) const = default;
};
BOOST_DESCRIBE_STRUCT(CheckoutResult, (), (path, cloned, branch))

}  // namespace marlet
