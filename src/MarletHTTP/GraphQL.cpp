#include "MarletHTTP/GraphQL.h"

#include <algorithm>

#include "MarletHTTP/JSONCoding.h"

namespace marlet {

void throwFailures(const std::vector<GraphQLFailure>& failures) {
    std::string messages;
    for (const GraphQLFailure& failure : failures) {
        messages += messages.empty() || failure.message.empty() ? "" : " ";
        messages += failure.message;
    }
    if (!messages.empty()) {
        throw BackendError::rejected(std::move(messages));
    }
}

bool GraphQLFailures::haveMessage() const {
    return errors && std::any_of(errors->begin(), errors->end(),
                                 [](const GraphQLFailure& failure) { return !failure.message.empty(); });
}

std::string graphQLBody(const std::string& query, boost::json::object variables) {
    boost::json::object body;
    body["query"] = query;
    body["variables"] = std::move(variables);
    return JSONCoding::serialized(body);
}

}  // namespace marlet
