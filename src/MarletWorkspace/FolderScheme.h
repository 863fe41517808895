// How checkouts and work folders are laid out on disk: small templates that turn names into safe folder names.
#pragma once

#include <boost/describe.hpp>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletBase/LocalizedError.h"
#include "MarletWorkspace/RepositoryCoordinates.h"

namespace marlet {

class FolderSchemeError final : public LocalizedError {
public:
    enum class Case { unknownToken, invalidSegment, outsideRoot, empty };

    static FolderSchemeError unknownToken(std::string name);
    static FolderSchemeError invalidSegment(std::string segment);
    static FolderSchemeError outsideRoot(std::string path);
    static FolderSchemeError empty();

    Case kind() const { return which; }
    // The name, segment or path that it is about.
    const std::string& subject() const { return given; }

private:
    FolderSchemeError(Case kind, std::string subject, std::string description);

    Case which;
    std::string given;
};

// Text in which "{name}" stands for a value, and "/" separates folders.
struct PathTemplate {
    std::string pattern;

    // The folders' names. Throws FolderSchemeError.
    std::vector<std::string> render(const std::map<std::string, std::string>& values) const;

    // The text as part of one folder's name.
    static std::string segment(std::string_view text);
    // ASCII letters and digits with "-" between the words; at most `maxLength` characters.
    static std::string slug(std::string_view text, size_t maxLength);

    bool operator==(const PathTemplate&) const = default;
};

enum class CheckoutLayout { hostOwnerRepo, ownerRepo, repo, custom };
BOOST_DESCRIBE_ENUM(CheckoutLayout, hostOwnerRepo, ownerRepo, repo, custom)

std::string title(CheckoutLayout layout);
// None for a custom layout.
std::optional<PathTemplate> templateOf(CheckoutLayout layout);

struct CheckoutScheme {
    static const std::vector<std::string> tokens;

    CheckoutLayout layout = CheckoutLayout::hostOwnerRepo;
    std::string customTemplate;

    PathTemplate pathTemplate() const;
    // Throws FolderSchemeError.
    std::vector<std::string> relativePath(const RepositoryCoordinates& coordinates,
                                          const std::string& accountName) const;

    bool operator==(const CheckoutScheme&) const = default;
};

struct WorkspaceScheme {
    static const std::vector<std::string> tokens;
    static const PathTemplate defaultTemplate;

    PathTemplate pathTemplate = defaultTemplate;

    // Throws FolderSchemeError.
    std::vector<std::string> relativePath(const std::string& accountName, const std::string& projectName,
                                          const std::string& taskID, const std::string& title) const;

    bool operator==(const WorkspaceScheme&) const = default;
};

}  // namespace marlet
