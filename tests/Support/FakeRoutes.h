// The routes of a fake service: what each one takes, to the letter, and what it does.
#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/FakeMessages.h"

namespace marlet {

using FakeQuery = std::vector<std::pair<std::string, std::string>>;

// A request that fits its route.
struct FakeCall {
    std::string url;
    std::string path;                   // below the API's root, as it was sent
    std::vector<std::string> captures;  // what stood in the places of the stars, decoded
    FakeQuery query;                    // decoded, in order
    boost::json::object body;

    std::optional<std::string> item(std::string_view name) const;
    // The nth capture as a number; 0, which nothing has, for anything else.
    int64_t number(size_t capture) const;
    // "owner/repo" of the first two captures.
    std::string repository() const { return captures.at(0) + "/" + captures.at(1); }
    std::optional<std::string> text(std::string_view key) const;
};

enum class FakeKind { any, string, stringOrNull, boolean, number, object, strings, numbers, objects };

struct FakeBodyKey {
    std::string name;
    FakeKind kind = FakeKind::string;
    bool isRequired = true;
};

struct FakeQueryKey {
    std::string name;
    std::vector<std::string> values = {};  // none: any
};

struct FakeRoute {
    std::string method;
    std::string pattern;  // "repos/*/*/issues": a star stands for one piece of the path
    std::vector<FakeQueryKey> query;
    std::vector<FakeBodyKey> body;
    std::function<FakeAnswer(const FakeCall& call)> answer;
};

class FakeRoutes {
public:
    void add(FakeRoute route) { routes.push_back(std::move(route)); }

    // The route that a request fits by its method and path, with the call for it.
    struct Match {
        const FakeRoute* route = nullptr;
        FakeCall call;
    };
    std::optional<Match> match(const FakeRequest& request, const std::string& target) const;

    // Reads the request's query and body into the call. Gives what is wrong with them, if anything is.
    static std::optional<std::string> check(const FakeRequest& request, const std::string& target, Match& match);

private:
    std::vector<FakeRoute> routes;
};

// With everything but unreserved characters encoded.
std::string percentEncoded(std::string_view text);

}  // namespace marlet
