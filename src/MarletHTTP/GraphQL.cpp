#include "MarletHTTP/GraphQL.h"

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

std::string graphQLBody(const std::string& query, boost::json::object variables) {
    boost::json::object body;
    body["query"] = query;
    body["variables"] = std::move(variables);
    return JSONCoding::serialized(body);
}

}  // namespace marlet
