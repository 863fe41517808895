// What travels between a client and the helper: one JSON text each way, an object with the case's name as its one key.
#pragma once

#include <array>
#include <boost/describe.hpp>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <variant>

#include "MarletBase/KeyNames.h"
#include "MarletBase/LocalizedError.h"
#include "MarletWorkspace/HelperRecords.h"

namespace marlet {

// The helper's name among the services of a session.
inline constexpr const char* helperServiceName = "io.tolvane.Marlet.Helper";

class HelperMessageError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

struct HelperRequest {
    struct LocateTools {
        static constexpr std::string_view name = "locateTools";

        ToolSettings settings;
        bool operator==(const LocateTools&) const = default;
    };
    struct PrepareCheckout {
        static constexpr std::string_view name = "prepareCheckout";

        CheckoutRequest request;
        bool operator==(const PrepareCheckout&) const = default;
    };
    struct InspectCheckout {
        static constexpr std::string_view name = "inspectCheckout";

        std::string path;
        RepositoryCoordinates repository;
        ToolSettings tools;
        bool operator==(const InspectCheckout&) const = default;
    };
    struct PrepareWorktree {
        static constexpr std::string_view name = "prepareWorktree";

        WorktreeRequest request;
        bool operator==(const PrepareWorktree&) const = default;
    };
    struct RemoveWorktree {
        static constexpr std::string_view name = "removeWorktree";

        std::string path;
        ToolSettings tools;
        bool operator==(const RemoveWorktree&) const = default;
    };
    struct RegisterMCP {
        static constexpr std::string_view name = "registerMCP";

        MCPRegistration registration;
        bool operator==(const RegisterMCP&) const = default;
    };
    struct RegisterCopilotMCP {
        static constexpr std::string_view name = "registerCopilotMCP";

        std::string endpoint;
        std::string token;
        bool operator==(const RegisterCopilotMCP&) const = default;
    };
    struct OpenInCopilot {
        static constexpr std::string_view name = "openInCopilot";

        std::string path;
        bool operator==(const OpenInCopilot&) const = default;
    };
    struct InstallCommandLineTools {
        static constexpr std::string_view name = "installCommandLineTools";
        bool operator==(const InstallCommandLineTools&) const = default;
    };

    std::variant<LocateTools, PrepareCheckout, InspectCheckout, PrepareWorktree, RemoveWorktree, RegisterMCP,
                 RegisterCopilotMCP, OpenInCopilot, InstallCommandLineTools>
        value;

    // One line, without its end.
    std::string line() const;
    // Throws HelperMessageError.
    static HelperRequest parse(std::string_view line);

    bool operator==(const HelperRequest&) const = default;
};
size_t hash_value(const HelperRequest& request);

BOOST_DESCRIBE_STRUCT(HelperRequest::LocateTools, (), (settings))
BOOST_DESCRIBE_STRUCT(HelperRequest::PrepareCheckout, (), (request))
BOOST_DESCRIBE_STRUCT(HelperRequest::InspectCheckout, (), (path, repository, tools))
BOOST_DESCRIBE_STRUCT(HelperRequest::PrepareWorktree, (), (request))
BOOST_DESCRIBE_STRUCT(HelperRequest::RemoveWorktree, (), (path, tools))
BOOST_DESCRIBE_STRUCT(HelperRequest::RegisterMCP, (), (registration))
BOOST_DESCRIBE_STRUCT(HelperRequest::RegisterCopilotMCP, (), (endpoint, token))
BOOST_DESCRIBE_STRUCT(HelperRequest::OpenInCopilot, (), (path))
BOOST_DESCRIBE_STRUCT(HelperRequest::InstallCommandLineTools, (), ())

struct HelperReply {
    struct Tools {
        static constexpr std::string_view name = "tools";

        ToolReport report;
        bool operator==(const Tools&) const = default;
    };
    struct Checkout {
        static constexpr std::string_view name = "checkout";

        CheckoutResult result;
        bool operator==(const Checkout&) const = default;
    };
    struct Done {
        static constexpr std::string_view name = "done";
        bool operator==(const Done&) const = default;
    };
    struct Failure {
        static constexpr std::string_view name = "failure";

        std::string message;  // for people
        bool operator==(const Failure&) const = default;
    };

    std::variant<Tools, Checkout, Done, Failure> value;

    std::string line() const;
    // Throws HelperMessageError.
    static HelperReply parse(std::string_view line);

    bool operator==(const HelperReply&) const = default;
};
size_t hash_value(const HelperReply& reply);

BOOST_DESCRIBE_STRUCT(HelperReply::Tools, (), (report))
BOOST_DESCRIBE_STRUCT(HelperReply::Checkout, (), (result))
BOOST_DESCRIBE_STRUCT(HelperReply::Done, (), ())
BOOST_DESCRIBE_STRUCT(HelperReply::Failure, (), (message))

// A case that is all payload has it under a key that isn't its name.
constexpr std::array<KeyName, 1> keyNames(const HelperRequest::LocateTools*) {
    return {{{"settings", "_0"}}};
}
constexpr std::array<KeyName, 1> keyNames(const HelperRequest::PrepareCheckout*) {
    return {{{"request", "_0"}}};
}
constexpr std::array<KeyName, 1> keyNames(const HelperRequest::PrepareWorktree*) {
    return {{{"request", "_0"}}};
}
constexpr std::array<KeyName, 1> keyNames(const HelperRequest::RegisterMCP*) {
    return {{{"registration", "_0"}}};
}
constexpr std::array<KeyName, 1> keyNames(const HelperReply::Tools*) {
    return {{{"report", "_0"}}};
}
constexpr std::array<KeyName, 1> keyNames(const HelperReply::Checkout*) {
    return {{{"result", "_0"}}};
}
constexpr std::array<KeyName, 1> keyNames(const HelperReply::Failure*) {
    return {{{"message", "_0"}}};
}

}  // namespace marlet

template <>
struct std::hash<marlet::HelperRequest> {
    size_t operator()(const marlet::HelperRequest& request) const { return hash_value(request); }
};

template <>
struct std::hash<marlet::HelperReply> {
    size_t operator()(const marlet::HelperReply& reply) const { return hash_value(reply); }
};
