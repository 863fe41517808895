#include "MarletMCP/HTTPRequestParser.h"

#include <algorithm>
#include <utility>

#include "MarletBase/LocalizedError.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

using Kind = HTTPRequestParser::ParseError::Kind;

// An idle connection keeps no more memory than this.
constexpr size_t idleCapacity = 4096;

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";

[[noreturn]] void fail(Kind kind) {
    throw HTTPRequestParser::ParseError(kind);
}

// Cuts off what stands before `separator`, and the separator; all of it if there is none.
std::string_view takeUpTo(std::string_view& text, std::string_view separator) {
    size_t position = text.find(separator);
    std::string_view piece = text.substr(0, position);
    text.remove_prefix(position == std::string_view::npos ? text.size() : position + separator.size());
    return piece;
}

void readRequestLine(std::string_view line, IncomingRequest& request) {
    if (std::count(line.begin(), line.end(), ' ') != 2) {
        fail(Kind::malformed);
    }
    std::string_view method = takeUpTo(line, " ");
    std::string_view target = takeUpTo(line, " ");
    if (method.empty() || target.empty() || !line.starts_with("HTTP/1.")) {
        fail(Kind::malformed);
    }
    request.method = method;
    request.path = takeUpTo(target, "?");
}

void readHeaderLine(std::string_view line, HTTPHeaders& headers) {
    size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        fail(Kind::malformed);
    }
    std::string_view value = trimmedBlanks(line.substr(colon + 1));
    auto [entry, isNew] = headers.try_emplace(lowered(trimmedBlanks(line.substr(0, colon))), value);
    if (!isNew) {
        entry->second += ", ";
        entry->second += value;
    }
}

std::optional<size_t> digitValue(char digit, size_t base) {
    size_t value = base;
    if (digit >= '0' && digit <= '9') {
        value = static_cast<size_t>(digit - '0');
    } else if (digit >= 'a' && digit <= 'f') {
        value = static_cast<size_t>(digit - 'a') + 10;
    } else if (digit >= 'A' && digit <= 'F') {
        value = static_cast<size_t>(digit - 'A') + 10;
    }
    return value < base ? std::optional(value) : std::nullopt;
}

// A size of body bytes, in digits alone. However long the number is, it doesn't overflow.
size_t readSize(std::string_view digits, size_t base) {
    if (digits.empty()) {
        fail(Kind::malformed);
    }
    size_t size = 0;
    for (char digit : digits) {
        std::optional<size_t> value = digitValue(digit, base);
        if (!value) {
            fail(Kind::malformed);
        }
        size = std::min(size * base + *value, HTTPRequestParser::maximalBodySize + 1);
    }
    if (size > HTTPRequestParser::maximalBodySize) {
        fail(Kind::tooLarge);
    }
    return size;
}

}  // namespace

const char* HTTPRequestParser::ParseError::what() const noexcept {
    return kind == Kind::tooLarge ? "The request is too large." : "The request is malformed.";
}

std::optional<HTTPRequestParser::Result> HTTPRequestParser::parse(std::string_view buffer) {
    HTTPRequestProgress progress;
    std::string_view unread = buffer;
    if (!progress.advance(unread)) {
        return std::nullopt;
    }
    return Result{progress.take(), buffer.size() - unread.size()};
}

void HTTPRequestReader::append(std::string_view bytes) {
    received.erase(0, std::exchange(used, 0));
    received.append(bytes);
}

std::optional<IncomingRequest> HTTPRequestReader::next() {
    std::string_view unread = std::string_view(received).substr(used);
    bool isComplete = progress.advance(unread);
    used = received.size() - unread.size();
    if (unread.empty()) {
        received.clear();
        used = 0;
        if (received.capacity() > idleCapacity) {
            received.shrink_to_fit();
        }
    }
    if (!isComplete) {
        return std::nullopt;
    }
    return std::exchange(progress, {}).take();
}

bool HTTPRequestProgress::advance(std::string_view& unread) {
    while (stage != Stage::complete) {
        if (!advanceOnce(unread)) {
            return false;
        }
    }
    return true;
}

// False if more bytes are needed to go on.
bool HTTPRequestProgress::advanceOnce(std::string_view& unread) {
    switch (stage) {
        case Stage::head:
            return readHead(unread);
        case Stage::sizedBody:
            return takeBody(unread, Stage::complete);
        case Stage::chunkSize:
            return readChunkSize(unread);
        case Stage::chunk:
            if (!takeBody(unread, Stage::chunkEnd)) {
                return false;
            }
            missing = lineEnd.size();
            return true;
        case Stage::chunkEnd:
            return skip(unread, Stage::chunkSize);
        case Stage::trailer:
            return readTrailerLine(unread);
        case Stage::complete:
            return true;
    }
    programmingError("A request is read in a stage that doesn't exist.");
}

bool HTTPRequestProgress::readHead(std::string_view& unread) {
    size_t position = unread.find(headEnd, searched);
    if (position == std::string_view::npos) {
        if (unread.size() > HTTPRequestParser::maximalHeadSize) {
            fail(Kind::tooLarge);
        }
        searched = unread.size() - std::min(unread.size(), headEnd.size() - 1);
        return false;
    }
    std::string_view head = unread.substr(0, position);
    unread.remove_prefix(position + headEnd.size());
    searched = 0;
    if (!isValidUTF8(head)) {
        fail(Kind::malformed);
    }
    readRequestLine(takeUpTo(head, lineEnd), request);
    while (!head.empty()) {
        readHeaderLine(takeUpTo(head, lineEnd), request.headers);
    }
    startBody();
    return true;
}

void HTTPRequestProgress::startBody() {
    const std::string* encoding = request.header("transfer-encoding");
    if (encoding && lowered(*encoding).find("chunked") != std::string::npos) {
        stage = Stage::chunkSize;
        return;
    }
    const std::string* length = request.header("content-length");
    missing = length ? readSize(*length, 10) : 0;
    stage = Stage::sizedBody;
}

bool HTTPRequestProgress::readChunkSize(std::string_view& unread) {
    std::optional<std::string_view> line = takeLine(unread);
    if (!line) {
        return false;
    }
    missing = readSize(takeUpTo(*line, ";"), 16);
    if (missing > HTTPRequestParser::maximalBodySize - request.body.size()) {
        fail(Kind::tooLarge);
    }
    stage = missing == 0 ? Stage::trailer : Stage::chunk;
    return true;
}

bool HTTPRequestProgress::readTrailerLine(std::string_view& unread) {
    std::optional<std::string_view> line = takeLine(unread);
    if (line && line->empty()) {
        stage = Stage::complete;
    }
    return line.has_value();
}

// A body isn't reserved in full: a peer that only announces one doesn't get its memory.
bool HTTPRequestProgress::takeBody(std::string_view& unread, Stage next) {
    size_t count = std::min(missing, unread.size());
    request.body.append(unread.substr(0, count));
    return skip(unread, next);
}

bool HTTPRequestProgress::skip(std::string_view& unread, Stage next) {
    size_t count = std::min(missing, unread.size());
    unread.remove_prefix(count);
    missing -= count;
    if (missing > 0) {
        return false;
    }
    stage = next;
    return true;
}

// The next whole line. A size or trailer line has the same limit as a head, or it would have none.
std::optional<std::string_view> HTTPRequestProgress::takeLine(std::string_view& unread) {
    size_t position = unread.find(lineEnd, searched);
    if (position == std::string_view::npos) {
        if (unread.size() > HTTPRequestParser::maximalHeadSize) {
            fail(Kind::tooLarge);
        }
        searched = unread.size() - std::min(unread.size(), lineEnd.size() - 1);
        return std::nullopt;
    }
    std::string_view line = unread.substr(0, position);
    unread.remove_prefix(position + lineEnd.size());
    searched = 0;
    return line;
}

}  // namespace marlet
