// Access tokens as the user hands them over: never by the command line, which every process of the computer may read.
#pragma once

#include <functional>
#include <string>

#include "MarletBase/LocalizedError.h"
#include "MarletCore/BackendKind.h"

namespace marlet {

class TokenInputError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

struct CommandLine;
struct CommandReply;

// Reads the token that the command wants, if it wants one, and puts it into the request. First it checks whatever can
// be checked without, and before a user is asked, `rehearse` carries the request out as it is, without a token.
// Throws the errors of checkAccount and of the functions below, and CommandError for what the rehearsal is refused for.
void supplyToken(CommandLine& line, const std::function<CommandReply()>& rehearse);

// Everything that standard input brings. Throws TokenInputError.
std::string tokenFromStandardInput();

// Asks at the terminal, which shows nothing of the answer. Throws TokenInputError, also where there is no terminal.
// A signal that ends the process finds the terminal as it was.
std::string tokenFromTerminal(const std::string& question);

// The secret to keep for what was typed. Throws TokenInputError for what can't be one; its text holds nothing of it.
std::string checkedCredential(BackendKind kind, const std::string& username, const std::string& token);

}  // namespace marlet
