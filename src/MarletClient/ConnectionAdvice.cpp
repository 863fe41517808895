#include "MarletClient/ConnectionAdvice.h"

#include <fmt/format.h>

#include "MarletBase/Coding.h"
#include "MarletClient/AccountAddress.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {

const char* const newTokenAdvice = "Give the account a new one with marlet account token.";

namespace {

struct Advice {
    const Account& account;
    ConnectionTrial trial;

    std::string wrongServer() const {
        std::string server = hostAndPort(account.baseURL);
        std::string service = displayName(account.kind);
        return trial == ConnectionTrial::address
                   ? fmt::format("{} doesn't look like a {} server; give the address of its start page with --url.",
                                 server, service)
                   : fmt::format("{} doesn't answer as a {} server does. Try again later.", server, service);
    }

    std::string operator()(const BackendError::RateLimited& error) const {
        return error.until ? "Try again after that." : "Try again in a quarter of an hour.";
    }
    std::string operator()(const BackendError::HTTP& error) const {
        if (error.status >= 500) {
            return "That is the server's own trouble. Try again in a while.";
        }
        return error.status == 403 ? neededPermissions(account.kind) : wrongServer();
    }
    std::string operator()(const BackendError::Rejected& error) const {
        // A server that names its single sign-on has said what to do.
        bool isTold = error.message.find("SAML") != std::string::npos;
        return isTold ? std::string() : neededPermissions(account.kind);
    }
    std::string operator()(const BackendError::UnknownLabels&) const { return {}; }
    std::string operator()(const BackendError::Unauthorized&) const {
        if (trial == ConnectionTrial::nothing) {
            return newTokenAdvice;
        }
        std::string text = fmt::format(
            "Check that it was copied whole, that it hasn't expired or been revoked, and that it was made "
            "on {}.",
            hostAndPort(account.baseURL));
        if (account.kind == BackendKind::jira) {
            return text + " A token of Jira Cloud goes with the e-mail address of its user: " +
                   (trial == ConnectionTrial::address ? "give that with --username."
                                                      : "put that and a colon in front of it.");
        }
        // It doesn't tell a token that lacks a permission from one that is worth nothing.
        return account.kind == BackendKind::vikunja ? text + " " + neededPermissions(account.kind) : text;
    }
    std::string operator()(const BackendError::NotFound&) const { return wrongServer(); }
    std::string operator()(const BackendError::InvalidURL&) const { return wrongServer(); }
    std::string operator()(const BackendError::InvalidResponse&) const { return wrongServer(); }
};

// A server without encryption may also wait for more of what it takes for the beginning of a request.
bool mayLackEncryption(const NetworkError& error, const URL& address) {
    bool isSilent = error.kind() == NetworkError::Kind::tls || error.kind() == NetworkError::Kind::timedOut;
    return isSilent && isLoopback(address) && address.components().scheme == "https";
}

std::string advice(const std::exception_ptr& error, const Advice& next) {
    try {
        std::rethrow_exception(error);
    } catch (const BackendError& known) {
        return std::visit(next, known.payload());
    } catch (const DecodingError&) {
        return next.wrongServer();
    } catch (const NetworkError& network) {
        bool isNewAddress = next.trial == ConnectionTrial::address;
        return isNewAddress && mayLackEncryption(network, next.account.baseURL)
                   ? "If the server has no https, give its address with http://."
                   : "";
    } catch (...) {
        return {};
    }
}

}  // namespace

std::string connectionFailure(const std::exception_ptr& error, const Account& account, ConnectionTrial trial) {
    std::string text = localizedDescription(error);
    std::string next = connectionAdvice(error, account, trial);
    return next.empty() ? text : fmt::format("{} {}", text, next);
}

std::string connectionAdvice(const std::exception_ptr& error, const Account& account, ConnectionTrial trial) {
    return advice(error, Advice{account, trial});
}

std::string neededPermissions(BackendKind kind) {
    if (kind == BackendKind::github) {
        return "The token needs the scopes repo, read:org, project and notifications, or, when it is a fine-grained "
               "one, access to the repositories with the permission to read and write issues.";
    }
    if (kind == BackendKind::gitlab) {
        return "The token needs the scope api.";
    }
    if (kind == BackendKind::vikunja) {
        return "The token needs every permission for tasks, their comments, labels and relations, and for labels, and "
               "the permissions to read projects and notifications.";
    }
    if (kind == BackendKind::jira) {
        return "The token's user needs the permissions to browse projects, and to create, edit, transition and comment "
               "on their issues.";
    }
    return "The token needs the permissions read:user, read:repository, write:issue and read:notification.";
}

}  // namespace marlet
