#include "MarletWorkspace/RepositoryCoordinates.h"

#include <charconv>
#include <initializer_list>
#include <utility>
#include <vector>

#include "MarletBase/Regex.h"
#include "MarletBase/Text.h"
#include "MarletBase/URL.h"

namespace marlet {
namespace {

constexpr std::string_view gitSuffix = ".git";

// Where a repository is, as its address says it.
struct Address {
    std::string host;
    std::optional<int64_t> port;
    std::string path;
};

bool isDefaultPort(int64_t port) {
    return port == 22 || port == 80 || port == 443;
}

std::optional<Address> addressFromURL(std::string_view remote) {
    std::optional<URL> url = URL::parse(remote);
    if (!url) {
        return std::nullopt;
    }
    URLComponents components = url->components();
    Address address{percentDecoded(components.host.value_or("")), std::nullopt, percentDecoded(components.path)};
    if (address.host.empty() || !isValidUTF8(address.host) || !isValidUTF8(address.path)) {
        return std::nullopt;
    }
    if (!components.port.empty()) {
        int64_t port = 0;
        const char* end = components.port.data() + components.port.size();
        if (std::from_chars(components.port.data(), end, port).ec != std::errc()) {
            return std::nullopt;
        }
        address.port = port;
    }
    return address;
}

// The short form of ssh, "user@host:path", in which no port can be said.
std::optional<Address> addressFromShortForm(std::string_view remote) {
    // (*ANY): no kind of line end may stand in the path.
    static const Regex shortForm("(*ANY)(?:[^@/]+@)?([^:/]+):(.+)", Regex::Extent::whole);
    std::optional<Regex::Match> match = shortForm.find(remote);
    if (!match) {
        return std::nullopt;
    }
    return Address{std::string((*match)[1]), std::nullopt, std::string((*match)[2])};
}

std::optional<std::string> absoluteText(const std::optional<URL>& url) {
    return url ? std::optional(url->text()) : std::nullopt;
}

}  // namespace

RepositoryCoordinates::RepositoryCoordinates(std::string host, std::optional<int64_t> port, std::string owner,
                                             std::string name)
    : host(lowercased(host)),
      port(port && isDefaultPort(*port) ? std::nullopt : port),
      owner(std::move(owner)),
      name(std::move(name)) {}

std::optional<RepositoryCoordinates> RepositoryCoordinates::parse(std::string_view remote) {
    std::string text = trimmed(remote);
    if (!isValidUTF8(text)) {
        return std::nullopt;
    }
    bool isURL = text.find("://") != std::string::npos;
    std::optional<Address> address = isURL ? addressFromURL(text) : addressFromShortForm(text);
    if (!address) {
        return std::nullopt;
    }
    std::vector<std::string_view> parts = pieces(address->path, '/');
    if (parts.size() < 2) {
        return std::nullopt;
    }
    std::string_view name = parts.back();
    parts.pop_back();
    if (name.ends_with(gitSuffix)) {
        name.remove_suffix(gitSuffix.size());
    }
    if (name.empty()) {
        return std::nullopt;
    }
    std::string owner;
    for (std::string_view part : parts) {
        owner += owner.empty() ? "" : "/";
        owner += part;
    }
    return RepositoryCoordinates(std::move(address->host), address->port, std::move(owner), std::string(name));
}

bool RepositoryCoordinates::isSameRepository(const RepositoryCoordinates& other) const {
    return host == other.host && lowercased(owner) == lowercased(other.owner) &&
           lowercased(name) == lowercased(other.name);
}

std::string RepositoryCoordinates::hostFolderName() const {
    return port ? host + "_" + std::to_string(*port) : host;
}

std::string title(CloneProtocol protocol) {
    switch (protocol) {
        case CloneProtocol::ssh:
            return "SSH";
        case CloneProtocol::https:
            return "HTTPS";
    }
    return {};
}

bool isRepository(const Project& project) {
    return project.cloneURL || project.sshCloneURL;
}

std::optional<RepositoryCoordinates> repositoryCoordinates(const Project& project) {
    if (!isRepository(project)) {
        return std::nullopt;
    }
    for (const std::optional<std::string>& text :
         {absoluteText(project.webURL), absoluteText(project.cloneURL), project.sshCloneURL}) {
        if (std::optional<RepositoryCoordinates> coordinates = RepositoryCoordinates::parse(text.value_or(""))) {
            return coordinates;
        }
    }
    return std::nullopt;
}

std::optional<std::string> cloneAddress(const Project& project, CloneProtocol wanted) {
    std::optional<std::string> https = absoluteText(project.cloneURL);
    const std::optional<std::string>& ssh = project.sshCloneURL;
    if (wanted == CloneProtocol::ssh) {
        return ssh ? ssh : https;
    }
    return https ? https : ssh;
}

}  // namespace marlet
