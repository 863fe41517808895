#include "HelperMessageShapes.h"

namespace marlet {
namespace {

const ToolSettings automatic;
const ToolSettings custom{GitChoice::custom, "/opt/git/bin/git", "/opt/claude"};

const std::string automaticText = R"({"git":"automatic","gitPath":"","claudePath":""})";
const std::string customText = R"({"git":"custom","gitPath":"/opt/git/bin/git","claudePath":"/opt/claude"})";
const std::string gardenText = R"({"host":"forge.example","owner":"team/sub","name":"garden"})";
const std::string harbourText = R"({"host":"forge.example","port":2222,"owner":"team","name":"harbour"})";

RepositoryCoordinates repository(std::optional<int64_t> port, std::string owner, std::string name) {
    RepositoryCoordinates result;
    result.host = "forge.example";
    result.port = port;
    result.owner = std::move(owner);
    result.name = std::move(name);
    return result;
}

const RepositoryCoordinates garden = repository(std::nullopt, "team/sub", "garden");
const RepositoryCoordinates harbour = repository(2222, "team", "harbour");

template <class Case>
MessageShape<HelperRequest> request(Case value, std::string line) {
    return {HelperRequest{std::move(value)}, std::move(line)};
}

template <class Case>
MessageShape<HelperReply> reply(Case value, std::string line) {
    return {HelperReply{std::move(value)}, std::move(line)};
}

}  // namespace

std::vector<MessageShape<HelperRequest>> requestShapes() {
    CheckoutRequest checkout{"~/Code",
                             {"forge.example", "team", "garden"},
                             "https://forge.example/team/sub/garden.git",
                             garden,
                             std::nullopt,
                             automatic};
    CheckoutRequest checkoutWithToken = checkout;
    checkoutWithToken.token = "glpat-\"1\"";
    WorktreeRequest worktree{
        "/home/ada/Code/harbour", harbour, std::nullopt, "7-quay", std::nullopt, std::nullopt, custom};
    WorktreeRequest fullWorktree = worktree;
    fullWorktree.existing = "/home/ada/Code/harbour-worktrees/7-quay";
    fullWorktree.pullRequestRef = "refs/pull/7/head";
    fullWorktree.token = "t";
    const std::string worktreeStart = R"({"prepareWorktree":{"_0":{"checkout":"/home/ada/Code/harbour","repository":)";
    return {
        request(HelperRequest::LocateTools{automatic}, R"({"locateTools":{"_0":)" + automaticText + "}}"),
        request(HelperRequest::LocateTools{{GitChoice::apple, "", ""}},
                R"({"locateTools":{"_0":{"git":"apple","gitPath":"","claudePath":""}}})"),
        request(HelperRequest::LocateTools{{GitChoice::homebrew, "", ""}},
                R"({"locateTools":{"_0":{"git":"homebrew","gitPath":"","claudePath":""}}})"),
        request(HelperRequest::PrepareCheckout{checkout},
                R"({"prepareCheckout":{"_0":{"root":"~/Code","relativePath":["forge.example","team","garden"],)"
                R"("remote":"https://forge.example/team/sub/garden.git","repository":)" +
                    gardenText + R"(,"tools":)" + automaticText + "}}}"),
        request(HelperRequest::PrepareCheckout{checkoutWithToken},
                R"({"prepareCheckout":{"_0":{"root":"~/Code","relativePath":["forge.example","team","garden"],)"
                R"("remote":"https://forge.example/team/sub/garden.git","repository":)" +
                    gardenText + R"(,"token":"glpat-\"1\"","tools":)" + automaticText + "}}}"),
        request(HelperRequest::InspectCheckout{"~", harbour, custom},
                R"({"inspectCheckout":{"path":"~","repository":)" + harbourText + R"(,"tools":)" + customText + "}}"),
        request(HelperRequest::PrepareWorktree{worktree},
                worktreeStart + harbourText + R"(,"name":"7-quay","tools":)" + customText + "}}}"),
        request(HelperRequest::PrepareWorktree{fullWorktree},
                worktreeStart + harbourText + R"(,"existing":"/home/ada/Code/harbour-worktrees/7-quay")" +
                    R"(,"name":"7-quay","pullRequestRef":"refs/pull/7/head","token":"t","tools":)" + customText +
                    "}}}"),
        request(HelperRequest::RemoveWorktree{"/tmp/w", automatic},
                R"({"removeWorktree":{"path":"/tmp/w","tools":)" + automaticText + "}}"),
        request(HelperRequest::RegisterMCP{{"/tmp/w", "http://127.0.0.1:4711/mcp", "secret", automatic}},
                R"({"registerMCP":{"_0":{"folder":"/tmp/w","endpoint":"http://127.0.0.1:4711/mcp","token":"secret",)"
                R"("tools":)" +
                    automaticText + "}}}"),
        request(HelperRequest::RegisterCopilotMCP{"http://127.0.0.1:4711/mcp", "secret"},
                R"({"registerCopilotMCP":{"endpoint":"http://127.0.0.1:4711/mcp","token":"secret"}})"),
        request(HelperRequest::OpenInCopilot{"/tmp/Gärten\n2"}, R"({"openInCopilot":{"path":"/tmp/Gärten\n2"}})"),
        request(HelperRequest::InstallCommandLineTools{}, R"({"installCommandLineTools":{}})"),
    };
}

std::vector<MessageShape<HelperReply>> replyShapes() {
    ToolReport report;
    report.git = LocatedTool{"/usr/bin/git", LocatedTool::Variant::apple};
    report.gitVersion = "git version 2.39.5";
    report.gitError = "a";
    report.claude = LocatedTool{"/home/ada/.local/bin/claude", LocatedTool::Variant::found};
    report.claudeVersion = "2.0.1";
    report.claudeError = "b";
    report.developerDirectory = "/Library/Developer/CommandLineTools";
    ToolReport others;
    others.git = LocatedTool{"/opt/homebrew/bin/git", LocatedTool::Variant::homebrew};
    others.claude = LocatedTool{"/opt/claude", LocatedTool::Variant::custom};
    return {
        reply(HelperReply::Tools{report},
              R"({"tools":{"_0":{"git":{"path":"/usr/bin/git","variant":"apple"},"gitVersion":"git version 2.39.5",)"
              R"("gitError":"a","claude":{"path":"/home/ada/.local/bin/claude","variant":"found"},)"
              R"("claudeVersion":"2.0.1","claudeError":"b",)"
              R"("developerDirectory":"/Library/Developer/CommandLineTools"}}})"),
        reply(HelperReply::Tools{others},
              R"({"tools":{"_0":{"git":{"path":"/opt/homebrew/bin/git","variant":"homebrew"},)"
              R"("claude":{"path":"/opt/claude","variant":"custom"}}}})"),
        reply(HelperReply::Tools{}, R"({"tools":{"_0":{}}})"),
        reply(HelperReply::Checkout{{"/tmp/garden", true, "main"}},
              R"({"checkout":{"_0":{"path":"/tmp/garden","cloned":true,"branch":"main"}}})"),
        reply(HelperReply::Checkout{{"/tmp/garden", false, std::nullopt}},
              R"({"checkout":{"_0":{"path":"/tmp/garden","cloned":false}}})"),
        reply(HelperReply::Done{}, R"({"done":{}})"),
        reply(HelperReply::Failure{"No \"git\" was found."}, R"({"failure":{"_0":"No \"git\" was found."}})"),
    };
}

std::vector<std::string> allLines() {
    std::vector<std::string> lines;
    for (const auto& shape : requestShapes()) {
        lines.push_back(shape.line);
    }
    for (const auto& shape : replyShapes()) {
        lines.push_back(shape.line);
    }
    return lines;
}

}  // namespace marlet
