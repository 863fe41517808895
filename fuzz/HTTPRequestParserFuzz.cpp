#include <algorithm>
#include <optional>
#include <vector>

#include "FuzzEntries.h"
#include "MarletBase/LocalizedError.h"
#include "MarletMCP/HTTPRequestParser.h"

namespace marlet {
namespace {

using ParseError = HTTPRequestParser::ParseError;

struct Outcome {
    std::vector<IncomingRequest> requests;
    std::optional<ParseError::Kind> mistake;

    bool operator==(const Outcome&) const = default;
};

Outcome readInPieces(std::string_view bytes, size_t pieceSize) {
    Outcome outcome;
    HTTPRequestReader reader;
    try {
        while (!bytes.empty()) {
            size_t count = std::min(pieceSize, bytes.size());
            reader.append(bytes.substr(0, count));
            bytes.remove_prefix(count);
            while (std::optional<IncomingRequest> request = reader.next()) {
                outcome.requests.push_back(std::move(*request));
            }
        }
    } catch (const ParseError& error) {
        outcome.mistake = error.kind;
    }
    return outcome;
}

Outcome readFromTheFront(std::string_view bytes) {
    Outcome outcome;
    try {
        while (std::optional<HTTPRequestParser::Result> result = HTTPRequestParser::parse(bytes)) {
            if (result->consumed == 0 || result->consumed > bytes.size()) {
                programmingError("A request took no bytes, or more than there are.");
            }
            bytes.remove_prefix(result->consumed);
            outcome.requests.push_back(std::move(result->request));
        }
    } catch (const ParseError& error) {
        outcome.mistake = error.kind;
    }
    return outcome;
}

}  // namespace

void fuzzHTTPRequestParser(std::string_view bytes) {
    // Longer heads are refused or taken depending on how they come in.
    if (bytes.size() > HTTPRequestParser::maximalHeadSize) {
        return;
    }
    Outcome expected = readFromTheFront(bytes);
    for (size_t pieceSize : {size_t{1}, size_t{2}, size_t{3}, size_t{7}, size_t{64}, bytes.size() + 1}) {
        if (readInPieces(bytes, pieceSize) != expected) {
            programmingError("The outcome depends on how the bytes are cut.");
        }
    }
}

}  // namespace marlet
