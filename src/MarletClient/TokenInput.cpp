#include "MarletClient/TokenInput.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <optional>

#include "MarletBase/Coding.h"
#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

constexpr size_t longestToken = 16384;

// Keeps the signals that end or stop a process from doing so until it is over.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t signals;
        ::sigemptyset(&signals);
        for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
            ::sigaddset(&signals, signal);
        }
        ::sigprocmask(SIG_BLOCK, &signals, &before);
        descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() {
        ::close(descriptor);
        // What came meanwhile is delivered here.
        ::sigprocmask(SIG_SETMASK, &before, nullptr);
    }

    // Readable once one of them has come.
    int descriptor = -1;

private:
    sigset_t before{};
};

// The terminal shows nothing of what is typed.
class EchoOff {
public:
    EchoOff() {
        ::tcgetattr(STDIN_FILENO, &before);
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        // What was typed ahead was shown; it is no token.
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;
    ~EchoOff() { ::tcsetattr(STDIN_FILENO, TCSANOW, &before); }

private:
    termios before{};
};

void say(const std::string& text) {
    static_cast<void>(std::fputs(text.c_str(), stderr));
    static_cast<void>(std::fflush(stderr));
}

// Adds what standard input has. False at its end.
bool readMore(std::string& text) {
    std::array<char, 4096> chunk;
    ssize_t count = ::read(STDIN_FILENO, chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) {
        return true;
    }
    if (count > 0) {
        text.append(chunk.data(), static_cast<size_t>(count));
    }
    return count > 0 && text.size() <= longestToken;
}

// One line from the terminal; no value when a signal came first.
std::optional<std::string> askOnce(const std::string& question) {
    SignalsHeld signals;
    EchoOff silence;
    say(question);
    std::string line;
    bool goesOn = true;
    while (goesOn && line.find('\n') == std::string::npos) {
        std::array<pollfd, 2> events{pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{signals.descriptor, POLLIN, 0}};
        ::poll(events.data(), events.size(), -1);
        if (events[1].revents != 0) {
            say("\n");
            return std::nullopt;
        }
        goesOn = readMore(line);
    }
    say("\n");
    return line;
}

std::string tokenFor(const std::string& account, TokenSource source) {
    return source == TokenSource::standardInput
               ? tokenFromStandardInput()
               : tokenFromTerminal(fmt::format("Access token for {}: ", withoutControlCharacters(account)));
}

// Nobody shall look a token up for a command that can't be carried out anyway.
void refuseBeforehand(TokenSource source, const std::function<CommandReply()>& rehearse) {
    if (source == TokenSource::terminal) {
        CommandReply reply = rehearse();
        if (reply.error) {
            throw CommandError(*reply.error);
        }
    }
}

}  // namespace

void supplyToken(CommandLine& line, const std::function<CommandReply()>& rehearse) {
    boost::json::value& request = line.request.options;
    if (line.request.command == "account add") {
        auto options = decoded<AccountAddOptions>(request);
        if (isLocal(options.kind) && line.token != TokenSource::standardInput) {
            return;
        }
        options.token = "";
        checkAccount(options);
        refuseBeforehand(line.token, rehearse);
        std::string token = tokenFor(options.name, line.token);
        options.token = checkedCredential(options.kind, options.username.value_or(""), token);
        request = encode(options, DateCoding::seconds);
    } else if (line.request.command == "account token") {
        auto options = decoded<AccountTokenOptions>(request);
        refuseBeforehand(line.token, rehearse);
        options.token = tokenFor(options.account, line.token);
        request = encode(options, DateCoding::seconds);
    }
}

std::string tokenFromStandardInput() {
    std::string text;
    while (readMore(text)) {
    }
    return text;
}

std::string tokenFromTerminal(const std::string& question) {
    if (::isatty(STDIN_FILENO) != 1) {
        throw TokenInputError("There is no terminal to ask for the token. Pipe the token in and add --token-stdin.");
    }
    // Only a stop (Ctrl-Z) comes back here.
    for (;;) {
        if (std::optional<std::string> line = askOnce(question)) {
            return *line;
        }
    }
}

std::string checkedCredential(BackendKind kind, const std::string& username, const std::string& token) {
    std::string secret = credential(kind, "", token);
    if (secret.empty()) {
        throw TokenInputError("There is no token in what was given. Make one on the server's settings page.");
    }
    // In a header's value a line end would begin another header.
    bool isToken =
        std::all_of(secret.begin(), secret.end(), [](char character) { return character > ' ' && character < 0x7f; });
    if (!isToken || secret.size() > longestToken) {
        throw TokenInputError(
            "What was given isn't an access token: a token is one word of plain letters, digits and signs.");
    }
    return credential(kind, username, token);
}

}  // namespace marlet
