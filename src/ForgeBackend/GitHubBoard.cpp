#include "ForgeBackend/GitHubBoard.h"

#include <charconv>
#include <vector>

#include "MarletBase/Coding.h"

namespace marlet {
namespace {

std::vector<std::string_view> piecesOf(std::string_view text) {
    std::vector<std::string_view> pieces;
    for (size_t slash = text.find('/'); slash != std::string_view::npos; slash = text.find('/')) {
        pieces.push_back(text.substr(0, slash));
        text.remove_prefix(slash + 1);
    }
    pieces.push_back(text);
    return pieces;
}

}  // namespace

std::optional<GitHubBoard> GitHubBoard::parse(std::string_view projectID) {
    std::vector<std::string_view> pieces = piecesOf(projectID);
    if (pieces.size() != 4 || pieces[0] != "projects") {
        return std::nullopt;
    }
    // The login becomes a segment of paths, where these would lead elsewhere.
    std::string_view login = pieces[2];
    if (login.empty() || login == "." || login == "..") {
        return std::nullopt;
    }
    std::optional<Owner> owner = fromCode<Owner>(pieces[1]);
    if (!owner) {
        return std::nullopt;
    }
    GitHubBoard board{*owner, std::string(login)};
    std::string_view digits = pieces[3];
    std::from_chars(digits.data(), digits.data() + digits.size(), board.number);
    // Tasks name their project by the id that the board writes. Another spelling of its number, such as "+12" or
    // "012", would be a second project with the first one's tasks.
    return board.projectID() == projectID ? std::optional(std::move(board)) : std::nullopt;
}

std::string GitHubBoard::projectID() const {
    return "projects/" + std::string(code(owner)) + "/" + login + "/" + std::to_string(number);
}

std::string GitHubBoard::apiPath() const {
    return listPath(owner, login) + "/" + std::to_string(number);
}

std::string GitHubBoard::listPath(Owner owner, const std::string& login) {
    return std::string(code(owner)) + "/" + login + "/projectsV2";
}

}  // namespace marlet
