#include "TestSupport/FakeMessages.h"

#include <algorithm>

namespace marlet {

std::string loweredASCII(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

std::string FakeRequest::header(std::string_view name) const {
    auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

std::string FakeAnswer::header(std::string_view name) const {
    std::string wanted = loweredASCII(name);
    auto found = std::find_if(headers.begin(), headers.end(),
                              [&](const auto& header) { return loweredASCII(header.first) == wanted; });
    return found == headers.end() ? std::string() : found->second;
}

FakeFailure FakeFailure::status(int status, std::string body, FakeHeaders headers) {
    FakeFailure failure;
    failure.answer.status = status;
    failure.answer.body = std::move(body);
    failure.answer.headers = std::move(headers);
    return failure;
}

FakeFailure FakeFailure::html() {
    return status(200, "<!DOCTYPE html><html><body><h1>Please sign in to the guest network</h1></body></html>",
                  {{"Content-Type", "text/html; charset=utf-8"}});
}

FakeFailure FakeFailure::empty() {
    return status(200);
}

FakeFailure FakeFailure::cut() {
    FakeFailure failure;
    failure.delivery = FakeAnswer::Delivery::cut;
    return failure;
}

FakeFailure FakeFailure::truncated() {
    FakeFailure failure = none();
    failure.delivery = FakeAnswer::Delivery::truncated;
    return failure;
}

FakeFailure FakeFailure::lostAnswer() {
    FakeFailure failure = cut();
    failure.isCarriedOut = true;
    return failure;
}

FakeFailure FakeFailure::none() {
    FakeFailure failure;
    failure.isCarriedOut = true;
    return failure;
}

FakeFailure FakeFailure::held(std::shared_ptr<FakeGate> gate) {
    FakeFailure failure = none();
    failure.gate = std::move(gate);
    return failure;
}

}  // namespace marlet
