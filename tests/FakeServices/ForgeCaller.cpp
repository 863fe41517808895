#include "ForgeCaller.h"

#include <boost/json/parse.hpp>

namespace marlet {

ForgeCaller::ForgeCaller(FakeForgeKind chosen)
    : kind(chosen),
      forge(
          chosen, [this] { return clock.now(); }, "ghp_secret") {
    forge.serveAt("https://forge.example");
    forge.addRepository("o/r");
}

FakeRequest ForgeCaller::request(const std::string& method, const std::string& path, const std::string& body) const {
    bool isGitHub = kind == FakeForgeKind::github;
    bool isAbsolute = path.starts_with("https://");
    FakeRequest request;
    request.method = method;
    request.url = isAbsolute ? path : std::string("https://forge.example/api/") + (isGitHub ? "v3/" : "v1/") + path;
    request.headers = {{"user-agent", "Test"},
                       {"authorization", isGitHub ? "Bearer ghp_secret" : "token ghp_secret"},
                       {"accept", isGitHub ? "application/vnd.github+json" : "application/json"}};
    if (isGitHub) {
        request.headers["x-github-api-version"] = "2022-11-28";
    }
    if (!body.empty()) {
        request.headers["content-type"] = "application/json";
        request.body = body;
    }
    return request;
}

FakeAnswer ForgeCaller::ask(const std::string& method, const std::string& path, const std::string& body) {
    return forge.handle(request(method, path, body));
}

boost::json::value ForgeCaller::json(const std::string& path) {
    return boost::json::parse(get(path).body);
}

std::vector<int64_t> ForgeCaller::numbers(const FakeAnswer& answer) const {
    std::vector<int64_t> result;
    boost::json::value list = boost::json::parse(answer.body);
    for (const boost::json::value& issue : list.as_array()) {
        result.push_back(issue.at("number").as_int64());
    }
    return result;
}

}  // namespace marlet
