#include "TestSupport/BackendScenario.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace marlet {

void BackendScenario::answer(const std::string& route, int status, std::string body,
                             std::vector<std::pair<std::string, std::string>> headers) {
    server->answer(route,
                   ScriptedTransport::Answer{.status = status, .headers = std::move(headers), .body = std::move(body)});
}

std::string BackendScenario::lastHeader(const std::string& name) const {
    const HTTPHeaders& headers = server->lastRequest().headers;
    auto found = headers.find(name);
    return found == headers.end() ? "(none)" : found->second;
}

std::string textOfFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("There is no file " + path);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace marlet
