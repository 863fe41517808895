// What a fake service is asked and what it answers, as plain values, and how it can be made to fail.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport/FakeGate.h"

namespace marlet {

using FakeHeaders = std::vector<std::pair<std::string, std::string>>;

struct FakeRequest {
    std::string method;
    std::string url;                                          // absolute, as the client wrote it
    std::map<std::string, std::string, std::less<>> headers;  // names in lower case
    std::string body;

    // Empty when there is none.
    std::string header(std::string_view name) const;
};

struct FakeAnswer {
    enum class Delivery {
        whole,
        truncated,  // the connection ends amid the body
        cut,        // the connection ends before anything is sent
    };

    int status = 200;
    FakeHeaders headers;
    std::string body;
    Delivery delivery = Delivery::whole;
    std::shared_ptr<FakeGate> gate;  // where the answer waits before it is sent

    // Empty when there is none. Any case of the name will do.
    std::string header(std::string_view name) const;
};

// What happens to a request instead of, or after, being carried out.
struct FakeFailure {
    bool isCarriedOut = false;
    FakeAnswer answer;  // for one that isn't carried out
    FakeAnswer::Delivery delivery = FakeAnswer::Delivery::whole;
    std::shared_ptr<FakeGate> gate;

    static FakeFailure status(int status, std::string body = {}, FakeHeaders headers = {});
    // 200 with the page of a proxy in front of the service, and 200 with no body at all.
    static FakeFailure html();
    static FakeFailure empty();
    // The connection ends: before anything is done, amid the answer, or after the request was carried out.
    static FakeFailure cut();
    static FakeFailure truncated();
    static FakeFailure lostAnswer();
    // None: carried out and answered, so that the next failure hits a later request.
    static FakeFailure none();
    // Carried out at once; the answer waits at the gate.
    static FakeFailure held(std::shared_ptr<FakeGate> gate);
};

std::string loweredASCII(std::string_view text);

}  // namespace marlet
