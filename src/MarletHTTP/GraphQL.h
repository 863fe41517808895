// What a GraphQL endpoint takes and answers.
#pragma once

#include <boost/describe.hpp>
#include <boost/json/object.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarletBase/Decoding.h"
#include "MarletCore/BackendError.h"

namespace marlet {

struct GraphQLFailure {
    std::string message;
};
BOOST_DESCRIBE_STRUCT(GraphQLFailure, (), (message))

// Throws BackendError::rejected with the messages, if any isn't empty.
void throwFailures(const std::vector<GraphQLFailure>& failures);

struct GraphQLFailures {
    std::optional<std::vector<GraphQLFailure>> errors;

    bool haveMessage() const;
};
BOOST_DESCRIBE_STRUCT(GraphQLFailures, (), (errors))

template <class T>
struct GraphQLData {
    std::optional<T> data;

    BOOST_DESCRIBE_CLASS(GraphQLData, (), (data), (), ())
};

template <class T>
struct GraphQLAnswer {
    GraphQLFailures failures;
    std::optional<T> data;

    // Data beside an error is partial and never given.
    T take() && {
        throwFailures(failures.errors.value_or(std::vector<GraphQLFailure>()));
        if (!data) {
            throw BackendError::invalidResponse();
        }
        return std::move(*data);
    }
};

// Partial data isn't even read: what failed is null there, also where the whole has a value.
template <class T>
void decode(const boost::json::value& json, GraphQLAnswer<T>& answer, const DecodingPath& path) {
    decode(json, answer.failures, path);
    if (!answer.failures.haveMessage()) {
        GraphQLData<T> whole;
        decode(json, whole, path);
        answer.data = std::move(whole.data);
    }
}

// The body of a request. The variables are written as they stand. Throws EncodingError.
std::string graphQLBody(const std::string& query, boost::json::object variables);

}  // namespace marlet
