#include "MarletWorkspace/FolderScheme.h"

#include <algorithm>
#include <utility>

#include "MarletBase/Regex.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr size_t titleLength = 40;

bool isLetterOrDigit(char character) {
    return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
}

std::string expanded(const std::string& pattern, const std::map<std::string, std::string>& values) {
    // "\w" of this engine leaves out marks and connectors, which are word characters to Unicode.
    static const Regex placeholder(R"(\{([\p{Alphabetic}\p{M}\p{Nd}\p{Pc}\x{200C}\x{200D}]*)\})");
    std::string result;
    size_t copied = 0;
    for (const Regex::Match& match : placeholder.findAll(pattern)) {
        auto value = values.find(std::string(match[1]));
        if (value == values.end()) {
            throw FolderSchemeError::unknownToken(std::string(match[1]));
        }
        result.append(pattern, copied, match.start - copied);
        result += match[1].empty() ? match[0] : value->second;
        copied = match.end;
    }
    return result.append(pattern, copied);
}

// Control characters are those of category Cc. Invisible ones of other categories stay, as joiners belong to the
// spelling of words and emoji.
std::string cleaned(std::string_view piece) {
    static const Regex controls(R"(\p{Cc}+)");
    std::string name(piece);
    controls.replaceAll(name, [](const Regex::Match&, std::string&) {});
    std::replace(name.begin(), name.end(), ':', '_');
    // Tabs are gone already.
    size_t start = std::min(name.find_first_not_of(' '), name.size());
    size_t end = name.find_last_not_of(' ') + 1;
    return start < end ? name.substr(start, end - start) : std::string();
}

}  // namespace

FolderSchemeError::FolderSchemeError(Case kind, std::string subject, std::string description)
    : LocalizedError(std::move(description)), which(kind), given(std::move(subject)) {}

FolderSchemeError FolderSchemeError::unknownToken(std::string name) {
    std::string description = "The folder template contains an unknown placeholder, {" + name + "}.";
    return {Case::unknownToken, std::move(name), std::move(description)};
}

FolderSchemeError FolderSchemeError::invalidSegment(std::string segment) {
    std::string description = "“" + segment + "” can't be used as a folder name.";
    return {Case::invalidSegment, std::move(segment), std::move(description)};
}

FolderSchemeError FolderSchemeError::outsideRoot(std::string path) {
    std::string description = path + " is outside the root folder.";
    return {Case::outsideRoot, std::move(path), std::move(description)};
}

FolderSchemeError FolderSchemeError::empty() {
    return {Case::empty, {}, "The folder template produces an empty path."};
}

std::vector<std::string> PathTemplate::render(const std::map<std::string, std::string>& values) const {
    std::string path = repairedUTF8(expanded(repairedUTF8(pattern), values));
    std::vector<std::string> names;
    for (std::string_view piece : pieces(path, '/')) {
        std::string name = cleaned(piece);
        if (name.starts_with('.')) {
            throw FolderSchemeError::invalidSegment(std::move(name));
        }
        if (!name.empty()) {
            names.push_back(std::move(name));
        }
    }
    if (names.empty()) {
        throw FolderSchemeError::empty();
    }
    return names;
}

std::string PathTemplate::segment(std::string_view text) {
    std::string result(text);
    std::replace(result.begin(), result.end(), '/', '-');
    return result;
}

std::string PathTemplate::slug(std::string_view text, size_t maxLength) {
    std::string result;
    bool isBetweenWords = false;
    // The folded form is in lower case already.
    for (char character : foldedForSearch(text)) {
        if (!isLetterOrDigit(character)) {
            isBetweenWords = !result.empty();
            continue;
        }
        if (isBetweenWords) {
            result += '-';
            isBetweenWords = false;
        }
        result += character;
        if (result.size() > maxLength) {
            break;
        }
    }
    result.resize(std::min(result.size(), maxLength));
    if (result.ends_with('-')) {
        result.pop_back();
    }
    return result;
}

std::string title(CheckoutLayout layout) {
    switch (layout) {
        case CheckoutLayout::hostOwnerRepo:
            return "Host / Owner / Repository";
        case CheckoutLayout::ownerRepo:
            return "Owner / Repository";
        case CheckoutLayout::repo:
            return "Repository";
        case CheckoutLayout::custom:
            return "Custom";
    }
    return {};
}

std::optional<PathTemplate> templateOf(CheckoutLayout layout) {
    switch (layout) {
        case CheckoutLayout::hostOwnerRepo:
            return PathTemplate{"{host}/{owner}/{repo}"};
        case CheckoutLayout::ownerRepo:
            return PathTemplate{"{owner}/{repo}"};
        case CheckoutLayout::repo:
            return PathTemplate{"{repo}"};
        case CheckoutLayout::custom:
            return std::nullopt;
    }
    return std::nullopt;
}

const std::vector<std::string> CheckoutScheme::tokens = {"host", "owner", "repo", "account"};

PathTemplate CheckoutScheme::pathTemplate() const {
    return templateOf(layout).value_or(PathTemplate{customTemplate});
}

std::vector<std::string> CheckoutScheme::relativePath(const RepositoryCoordinates& coordinates,
                                                      const std::string& accountName) const {
    return pathTemplate().render({
        {"host", PathTemplate::segment(coordinates.hostFolderName())},
        {"owner", coordinates.owner},  // nested groups stay nested folders
        {"repo", PathTemplate::segment(coordinates.name)},
        {"account", PathTemplate::segment(accountName)},
    });
}

const std::vector<std::string> WorkspaceScheme::tokens = {"account", "project", "task", "title"};
const PathTemplate WorkspaceScheme::defaultTemplate = {"{account}/{project}/{task}-{title}"};

std::vector<std::string> WorkspaceScheme::relativePath(const std::string& accountName, const std::string& projectName,
                                                       const std::string& taskID, const std::string& title) const {
    return pathTemplate.render({
        {"account", PathTemplate::segment(accountName)},
        {"project", PathTemplate::segment(projectName)},
        {"task", PathTemplate::segment(taskID)},
        {"title", PathTemplate::slug(title, titleLength)},
    });
}

}  // namespace marlet
