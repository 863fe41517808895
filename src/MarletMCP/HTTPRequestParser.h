// Reads HTTP/1.1 requests out of bytes, without any network.
#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "MarletMCP/HTTPMessages.h"

namespace marlet {

// One request while its bytes come in. Every byte is looked at once, however small the pieces are.
class HTTPRequestProgress {
public:
    // Takes from the front of `unread` what it can use. True once the request is complete; the bytes behind it stay.
    // What isn't taken must stand at the front again in the next call, with more bytes behind it.
    // Throws HTTPRequestParser::ParseError, and isn't to be used any more then.
    bool advance(std::string_view& unread);

    // The complete request.
    IncomingRequest take() { return std::move(request); }

private:
    enum class Stage {
        head,
        sizedBody,  // `missing` bytes up to the end
        chunkSize,
        chunk,     // `missing` bytes of data
        chunkEnd,  // `missing` bytes of the line end behind it
        trailer,
        complete,
    };

    bool advanceOnce(std::string_view& unread);
    bool readHead(std::string_view& unread);
    bool readChunkSize(std::string_view& unread);
    bool readTrailerLine(std::string_view& unread);
    bool takeBody(std::string_view& unread, Stage next);
    bool skip(std::string_view& unread, Stage next);
    std::optional<std::string_view> takeLine(std::string_view& unread);
    void startBody();

    Stage stage = Stage::head;
    size_t searched = 0;  // bytes at the front of `unread` in which no separator begins
    size_t missing = 0;
    IncomingRequest request;
};

// The requests of one connection, in order.
class HTTPRequestReader {
public:
    void append(std::string_view bytes);

    // The next request, once all of it is there. Throws HTTPRequestParser::ParseError; the bytes behind the mistake
    // can't be told apart any more, so nothing can be read after that.
    std::optional<IncomingRequest> next();

    // Whether bytes have come that belong to no request yet.
    bool hasUnread() const { return used < received.size(); }

private:
    std::string received;
    size_t used = 0;  // bytes at the front of `received` that are done with
    HTTPRequestProgress progress;
};

struct HTTPRequestParser {
    static constexpr size_t maximalHeadSize = 65536;
    static constexpr size_t maximalBodySize = 8388608;

    class ParseError final : public std::exception {
    public:
        enum class Kind {
            malformed,
            tooLarge,
        };

        explicit ParseError(Kind problem) : kind(problem) {}

        const char* what() const noexcept override;

        Kind kind;
    };

    struct Result {
        IncomingRequest request;
        size_t consumed = 0;
    };

    // The request at the front of `buffer`; no value while bytes are missing. Throws ParseError.
    static std::optional<Result> parse(std::string_view buffer);
};

}  // namespace marlet
