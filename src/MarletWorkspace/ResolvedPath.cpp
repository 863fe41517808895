#include "MarletWorkspace/ResolvedPath.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "MarletBase/Text.h"
#include "MarletWorkspace/FolderScheme.h"

namespace marlet {
namespace {

struct Release {
    void operator()(char* text) const { std::free(text); }
};

// No value for whatever reason the system has.
std::optional<std::string> systemRealPath(const std::string& path) {
    std::unique_ptr<char, Release> found(::realpath(path.c_str(), nullptr));
    return found ? std::optional<std::string>(found.get()) : std::nullopt;
}

void requireNoNUL(const std::string& path) {
    for (std::string_view name : pieces(path, '/')) {
        if (name.find('\0') != std::string_view::npos) {
            throw FolderSchemeError::invalidSegment(withoutControlCharacters(name));
        }
    }
}

// Absolute, and tidied by its text alone. The root is the empty text here, so that every name begins with a slash.
std::string standardized(const std::string& path) {
    std::string whole = path.starts_with('/') ? path : std::filesystem::current_path().string() + "/" + path;
    std::string result;
    for (std::string_view name : pieces(whole, '/')) {
        if (name == "..") {
            result.resize(result.empty() ? 0 : result.rfind('/'));
        } else if (name != ".") {
            result += '/';
            result += name;
        }
    }
    return result;
}

}  // namespace

std::string resolvedPath(const std::string& path) {
    requireNoNUL(path);
    std::string standard = standardized(path);
    std::string existing = standard;
    std::optional<std::string> base = systemRealPath(existing.empty() ? "/" : existing);
    while (!base && !existing.empty()) {
        existing.resize(existing.rfind('/'));
        base = systemRealPath(existing.empty() ? "/" : existing);
    }
    std::string result = base == "/" ? "" : base.value_or("");
    result.append(standard, existing.size());
    return result.empty() ? "/" : result;
}

std::string appendingCheckedSegments(const std::string& root, const std::vector<std::string>& segments) {
    std::string base = resolvedPath(root);
    std::string path = base;
    for (const std::string& segment : segments) {
        path += "/" + segment;
    }
    std::string result = resolvedPath(path);
    std::string prefix = base == "/" ? base : base + "/";
    if (!result.starts_with(prefix) || result == base) {
        throw FolderSchemeError::outsideRoot(std::move(result));
    }
    return result;
}

std::string expandingTilde(const std::string& path, const std::string& homeDirectory) {
    bool hasTilde = path == "~" || path.starts_with("~/");
    return hasTilde ? homeDirectory + path.substr(1) : path;
}

}  // namespace marlet
