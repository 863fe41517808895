#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/LocalizedError.h"
#include "MarletIPC/LineProtocol.h"

namespace marlet {

class LineBuffer;

class LineClientError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// One connection to a LineServer. Its calls block the calling thread.
class LineClient {
public:
    // No value when nobody listens at `path`, or nobody can be let in just now. Throws LineClientError when it is
    // another user who listens, since secrets are said here, and std::system_error for a path that can't be used at
    // all.
    static std::optional<LineClient> connect(const std::filesystem::path& path);

    LineClient(LineClient&& other) noexcept;
    LineClient& operator=(LineClient&&) = delete;
    ~LineClient();

    // Called every tenth of a second while the answer is awaited.
    using WhileWaiting = std::function<void()>;

    // Sends `line`, which holds no line end, and gives the line that comes back. No value when the other side went away
    // without one. Throws LineClientError when the answer is longer than a line may be.
    std::optional<std::string> ask(std::string_view line, const WhileWaiting& whileWaiting = {});

private:
    explicit LineClient(int connected);

    bool send(std::string_view& rest);
    bool receive();

    int descriptor = -1;
    std::unique_ptr<LineBuffer> received;
};

}  // namespace marlet
