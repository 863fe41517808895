// What travels between a client and the helper: one JSON text each way, an object with the case's name as its one key.
#pragma once

#include <string>
#include <string_view>
#include <variant>

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
        ToolSettings settings;
        bool operator==(const LocateTools&) const = default;
    };
    struct PrepareCheckout {
        CheckoutRequest request;
        bool operator==(const PrepareCheckout&) const = default;
    };
    struct InspectCheckout {
        std::string path;
        RepositoryCoordinates repository;
        ToolSettings tools;
        bool operator==(const InspectCheckout&) const = default;
    };
    struct PrepareWorktree {
        WorktreeRequest request;
        bool operator==(const PrepareWorktree&) const = default;
    };
    struct RemoveWorktree {
        std::string path;
        ToolSettings tools;
        bool operator==(const RemoveWorktree&) const = default;
    };
    struct RegisterMCP {
        MCPRegistration registration;
        bool operator==(const RegisterMCP&) const = default;
    };
    struct RegisterCopilotMCP {
        std::string endpoint;
        std::string token;
        bool operator==(const RegisterCopilotMCP&) const = default;
    };
    struct OpenInCopilot {
        std::string path;
        bool operator==(const OpenInCopilot&) const = default;
    };
    struct InstallCommandLineTools {
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

struct HelperReply {
    struct Tools {
        ToolReport report;
        bool operator==(const Tools&) const = default;
    };
    struct Checkout {
        CheckoutResult result;
        bool operator==(const Checkout&) const = default;
    };
    struct Done {
        bool operator==(const Done&) const = default;
    };
    struct Failure {
        std::string message;  // for people
        bool operator==(const Failure&) const = default;
    };

    std::variant<Tools, Checkout, Done, Failure> value;

    std::string line() const;
    // Throws HelperMessageError.
    static HelperReply parse(std::string_view line);

    bool operator==(const HelperReply&) const = default;
};

}  // namespace marlet
