#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "MarletIPC/LineProtocol.h"

namespace marlet {

// What has come over a connection and isn't read yet, told apart into lines.
class LineBuffer {
public:
    // The next line without its end, once all of it has come.
    std::optional<std::string> takeLine() {
        size_t end = received.find('\n', searched);
        searched = end == std::string::npos ? received.size() : end;
        if (end == std::string::npos || isTooLong()) {
            return std::nullopt;
        }
        std::string line = received.substr(0, end);
        received.erase(0, end + 1);
        searched = 0;
        return line;
    }

    // The line that comes next is longer than a line may be; takeLine won't give it.
    bool isTooLong() const { return searched > maximumLineLength; }

    // Room for what comes next. Tell with added() how much of it came.
    std::span<char> room() {
        size_t filled = received.size();
        size_t step = std::clamp(filled, leastRoom, mostRoom);
        received.resize(filled + step);
        return {received.data() + filled, step};
    }
    void added(size_t count, std::span<char> room) { received.resize(received.size() - room.size() + count); }

private:
    // Who waits for a line holds little memory; a long one comes in few steps.
    static constexpr size_t leastRoom = 4096;
    static constexpr size_t mostRoom = 65536;

    std::string received;
    size_t searched = 0;  // no line ends before
};

}  // namespace marlet
