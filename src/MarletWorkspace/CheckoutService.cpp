#include "MarletWorkspace/CheckoutService.h"

#include "MarletWorkspace/ResolvedPath.h"

namespace marlet {
namespace {

constexpr const char* developerToolsCommand = "/usr/bin/xcode-select";
constexpr double installTimeout = 60;

// Carries one kind of request out each.
struct Carrier {
    const CheckoutService& service;

    HelperReply operator()(const HelperRequest::LocateTools& it) const {
        return {HelperReply::Tools{service.locateTools(it.settings)}};
    }

    HelperReply operator()(const HelperRequest::PrepareCheckout& it) const {
        return {HelperReply::Checkout{service.prepareCheckout(it.request)}};
    }

    HelperReply operator()(const HelperRequest::InspectCheckout& it) const {
        std::string git = service.locator.git(it.tools.git, it.tools.gitPath).path;
        std::string path = expandingTilde(it.path, service.homeDirectory);
        service.inspect(path, it.repository, git);
        return {HelperReply::Checkout{{resolvedPath(path), false, std::nullopt}}};
    }

    HelperReply operator()(const HelperRequest::PrepareWorktree& it) const {
        return {HelperReply::Checkout{service.prepareWorktree(it.request)}};
    }

    HelperReply operator()(const HelperRequest::RemoveWorktree& it) const {
        service.removeWorktree(it.path, it.tools);
        return {HelperReply::Done{}};
    }

    HelperReply operator()(const HelperRequest::RegisterMCP& it) const {
        service.registerMCP(it.registration);
        return {HelperReply::Done{}};
    }

    HelperReply operator()(const HelperRequest::RegisterCopilotMCP& it) const {
        service.registerCopilotMCP(it.endpoint, it.token);
        return {HelperReply::Done{}};
    }

    HelperReply operator()(const HelperRequest::OpenInCopilot& it) const {
        service.openInCopilot(it.path);
        return {HelperReply::Done{}};
    }

    // What comes of it is seen in the system's own window.
    HelperReply operator()(const HelperRequest::InstallCommandLineTools&) const {
        Command install{developerToolsCommand, {"--install"}};
        install.timeout = installTimeout;
        service.runner->run(install);
        return {HelperReply::Done{}};
    }
};

HelperReply failure(const std::exception_ptr& error) {
    try {
        return {HelperReply::Failure{localizedDescription(error)}};
    } catch (...) {
        return {HelperReply::Failure{"Out of memory."}};  // short enough to need none
    }
}

}  // namespace

HelperReply CheckoutService::handle(const HelperRequest& request) const {
    try {
        return std::visit(Carrier{*this}, request.value);
    } catch (...) {
        return failure(std::current_exception());
    }
}

}  // namespace marlet
