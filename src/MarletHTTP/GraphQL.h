// What a GraphQL endpoint takes and answers.
#pragma once

#include <boost/describe.hpp>
#include <boost/json/object.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarletCore/BackendError.h"

namespace marlet {

struct GraphQLFailure {
    std::string message;
};
BOOST_DESCRIBE_STRUCT(GraphQLFailure, (), (message))

// Throws BackendError::rejected with the messages, if any isn't empty.
void throwFailures(const std::vector<GraphQLFailure>& failures);

template <class T>
struct GraphQLAnswer {
    std::optional<T> data;
    std::optional<std::vector<GraphQLFailure>> errors;

    // Data beside an error is partial and never given.
    T take() && {
        throwFailures(errors.value_or(std::vector<GraphQLFailure>()));
        if (!data) {
            throw BackendError::invalidResponse();
        }
        return std::move(*data);
    }

    BOOST_DESCRIBE_CLASS(GraphQLAnswer, (), (data, errors), (), ())
};

// The body of a request. The variables are written as they stand. Throws EncodingError.
std::string graphQLBody(const std::string& query, boost::json::object variables);

}  // namespace marlet
