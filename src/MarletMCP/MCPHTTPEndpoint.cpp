#include "MarletMCP/MCPHTTPEndpoint.h"

#include <algorithm>

#include "MarletBase/URL.h"
#include "MarletBase/UUID.h"
#include "MarletMCP/BearerToken.h"

namespace marlet {
namespace {

constexpr int parseError = -32700;
constexpr std::string_view allowedMethods = "POST, DELETE";
constexpr std::string_view bearer = "bearer ";

bool isLocalHost(std::string_view host) {
    constexpr std::string_view brackets = "[]";
    size_t start = host.find_first_not_of(brackets);
    if (start == std::string_view::npos) {
        return false;
    }
    std::string_view name = host.substr(start, host.find_last_not_of(brackets) - start + 1);
    return name == "localhost" || name == "127.0.0.1" || name == "::1";
}

// "[::1]:8123" has the host part "[::1]", "localhost:8123" has "localhost". Empty if a bracket isn't closed.
std::string_view hostPart(std::string_view header) {
    if (header.starts_with('[')) {
        return header.substr(0, header.find(']') + 1);
    }
    return header.substr(0, header.find(':'));
}

bool isLocalOrigin(std::string_view origin) {
    std::optional<URL> url = URL::parse(origin);
    std::optional<std::string> host = url ? url->components().host : std::nullopt;
    return host && isLocalHost(*host);
}

bool isInitialization(const JSONValue& message) {
    const JSONValue* method = message["method"];
    return method && method->stringValue() && *method->stringValue() == "initialize";
}

std::optional<JSONValue> decoded(std::string_view body) {
    try {
        return JSONValue::decode(body);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

OutgoingResponse methodRefusal(std::string text) {
    return OutgoingResponse::text(std::move(text), 405, {{"Allow", std::string(allowedMethods)}});
}

}  // namespace

MCPHTTPEndpoint::MCPHTTPEndpoint(Executor anyExecutor, MCPServer mcpServer, std::string bearerToken)

    : strand(anyExecutor), serial(strand), server(std::move(mcpServer)), token(std::move(bearerToken)) {}

Async<OutgoingResponse> MCPHTTPEndpoint::handle(IncomingRequest request) {
    Executor current = co_await boost::asio::this_coro::executor;
    Async<OutgoingResponse> body = respond(std::move(request));
    OutgoingResponse response = current == serial ? co_await std::move(body) : co_await runOn(strand, std::move(body));
    co_return response;
}

Async<void> MCPHTTPEndpoint::setToken(std::string newToken) {
    co_await runOn(strand, replaceToken(std::move(newToken)));
}

Async<void> MCPHTTPEndpoint::replaceToken(std::string newToken) {
    token = std::move(newToken);
    co_return;
}

Async<OutgoingResponse> MCPHTTPEndpoint::respond(IncomingRequest request) {
    std::optional<OutgoingResponse> refused = refusal(request);
    if (refused) {
        co_return std::move(*refused);
    }
    if (request.method == "POST") {
        OutgoingResponse response = co_await post(std::move(request));
        co_return response;
    }
    if (request.method == "DELETE") {
        if (const std::string* session = request.header("mcp-session-id")) {
            sessions.erase(*session);
        }
        co_return OutgoingResponse{204, {}, {}};
    }
    if (request.method == "GET") {
        co_return methodRefusal("Server-sent events are not offered");
    }
    co_return methodRefusal("Method not allowed");
}

// What every request must pass, in this order, whatever its method.
std::optional<OutgoingResponse> MCPHTTPEndpoint::refusal(const IncomingRequest& request) const {
    if (request.path != path) {
        return OutgoingResponse::text("Not found", 404);
    }
    const std::string* host = request.header("host");
    if (!host || !isLocalHost(hostPart(*host))) {
        return OutgoingResponse::text("Invalid Host header", 403);
    }
    const std::string* origin = request.header("origin");
    if (origin && !isLocalOrigin(*origin)) {
        return OutgoingResponse::text("Origin not allowed", 403);
    }
    if (!showsToken(request)) {
        return OutgoingResponse::text("Missing or invalid bearer token", 401, {{"WWW-Authenticate", "Bearer"}});
    }
    return std::nullopt;
}

bool MCPHTTPEndpoint::showsToken(const IncomingRequest& request) const {
    const std::string* authorization = request.header("authorization");
    if (!authorization || lowered(std::string_view(*authorization).substr(0, bearer.size())) != bearer) {
        return false;
    }
    return isSameSecret(trimmedBlanks(std::string_view(*authorization).substr(bearer.size())), token);
}

Async<OutgoingResponse> MCPHTTPEndpoint::post(IncomingRequest request) {
    std::optional<JSONValue> body = decoded(request.body);
    if (!body) {
        co_return OutgoingResponse::json(MCPServer::failure(nullptr, parseError, "Parse error"), 400);
    }
    const bool isBatch = body->arrayValue() != nullptr;
    JSONValue::Array messages;
    if (isBatch) {
        messages = std::move(*body->arrayValue());
    } else {
        messages.push_back(std::move(*body));
    }

    HTTPHeaders headers;
    if (std::any_of(messages.begin(), messages.end(), isInitialization)) {
        std::string session = UUID::random().text();
        sessions.insert(session);
        headers["Mcp-Session-Id"] = std::move(session);
    } else if (const std::string* session = request.header("mcp-session-id"); session && !sessions.contains(*session)) {
        co_return OutgoingResponse::text("Unknown session", 404);
    }

    JSONValue::Array responses;
    for (JSONValue& message : messages) {
        std::optional<JSONValue> response = co_await server.handle(std::move(message));
        if (response) {
            responses.push_back(std::move(*response));
        }
    }
    if (responses.empty()) {
        co_return OutgoingResponse{202, std::move(headers), {}};
    }
    JSONValue answer = isBatch ? JSONValue(std::move(responses)) : std::move(responses.front());
    co_return OutgoingResponse::json(answer, 200, std::move(headers));
}

}  // namespace marlet
