#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marlet {

// A blocking client on the loopback address, for tests that mind every byte. Waiting for longer than half a minute
// fails the test.
class LoopbackClient {
public:
    explicit LoopbackClient(uint16_t port);
    LoopbackClient(LoopbackClient&& other) noexcept;
    LoopbackClient& operator=(const LoopbackClient&) = delete;
    ~LoopbackClient();

    // False if the peer is gone.
    bool send(std::string_view bytes);
    // Says that nothing more will be sent; answers can still be read.
    void finishSending();
    // Goes away without a word: the peer sees a reset.
    void reset();

    // One response, body included; empty if the connection ended before its end.
    std::string receiveResponse();
    // Everything up to the end of the connection.
    std::string receiveAll();

private:
    // False at the end of the connection.
    bool receiveMore();

    int descriptor;
    std::string received;
};

// The body of a response as it stands on the wire.
std::string bodyOf(const std::string& response);

}  // namespace marlet
