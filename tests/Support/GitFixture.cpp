#include "TestSupport/GitFixture.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "TestSupport/ChildProcess.h"

namespace marlet {
namespace {

constexpr const char* gitPath = "/usr/bin/git";

// What ties git to a repository, when the tests themselves run below one: in a hook, say.
std::vector<std::string> gitVariables() {
    std::vector<std::string> names;
    for (char** variable = environ; *variable; ++variable) {
        std::string text = *variable;
        if (text.starts_with("GIT_")) {
            names.push_back(text.substr(0, text.find('=')));
        }
    }
    return names;
}

std::string configuration(const std::filesystem::path& server) {
    return "[user]\n\tname = Kai\n\temail = kai@forge.example\n[init]\n\tdefaultBranch = main\n"
           "[protocol \"file\"]\n\tallow = always\n[gc]\n\tauto = 0\n[maintenance]\n\tauto = false\n[url \"file://" +
           server.string() +
           "/\"]\n\tinsteadOf = https://forge.example/\n\tinsteadOf = git@forge.example:\n"
           "\tinsteadOf = ssh://git@forge.example/\n";
}

}  // namespace

GitFixture::GitFixture() {
    std::filesystem::path root = std::filesystem::canonical(temporary.path());
    work = root / "work";
    server = root / "server";
    std::filesystem::create_directories(work);
    std::filesystem::create_directories(server);
    writeFile(root / "gitconfig", configuration(server));
    for (const std::string& name : gitVariables()) {
        setVariable(name, std::nullopt);
    }
    setVariable("GIT_CONFIG_GLOBAL", (root / "gitconfig").string());
    setVariable("GIT_CONFIG_NOSYSTEM", "1");
    setVariable("LC_ALL", "C.UTF-8");
}

GitFixture::~GitFixture() {
    for (const auto& [name, value] : variablesBefore) {
        value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
}

void GitFixture::setVariable(const std::string& name, const std::optional<std::string>& value) {
    const char* before = std::getenv(name.c_str());
    variablesBefore.try_emplace(name, before ? std::optional<std::string>(before) : std::nullopt);
    value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
}

std::string GitFixture::https(const std::string& repository) {
    return "https://forge.example/" + repository + ".git";
}

std::string GitFixture::ssh(const std::string& repository) {
    return "git@forge.example:" + repository + ".git";
}

std::filesystem::path GitFixture::bare(const std::string& repository) const {
    return server / (repository + ".git");
}

void GitFixture::addEmptyRepository(const std::string& repository) {
    std::filesystem::create_directories(bare(repository));
    git(bare(repository), {"init", "--quiet", "--bare"});
}

void GitFixture::addRepository(const std::string& repository) {
    addEmptyRepository(repository);
    commit(repository, "refs/heads/main", {{"README.md", "The first words of " + repository + ".\n"}});
}

std::string GitFixture::commit(const std::string& repository, const std::string& ref,
                               const std::map<std::string, std::string>& files, const std::string& parent) {
    std::filesystem::path folder = bare(repository);
    std::ostringstream stream;
    stream << "commit " << ref << "\ncommitter Kai <kai@forge.example> 1790000000 +0000\ndata 6\nChange\n";
    if (!git(folder, {"for-each-ref", parent}).empty()) {
        stream << "from " << parent << "^0\n";
    }
    for (const auto& [name, text] : files) {
        stream << "M 100644 inline " << name << "\ndata " << text.size() << "\n" << text << "\n";
    }
    git(folder, {"fast-import", "--quiet", "--force"}, stream.str());
    return git(folder, {"rev-parse", ref});
}

void GitFixture::takeServerAway() {
    std::filesystem::rename(server, server.string() + ".away");
}

void GitFixture::bringServerBack() {
    std::filesystem::rename(server.string() + ".away", server);
}

std::string GitFixture::git(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
                            const std::string& input) {
    std::vector<std::string> words{gitPath, "-C", folder.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    ChildOutcome outcome = runChild(words, input);
    if (outcome.status != 0) {
        throw std::runtime_error("git " + arguments.front() + " failed: " + outcome.errors);
    }
    if (outcome.output.ends_with('\n')) {
        outcome.output.pop_back();
    }
    return outcome.output;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void writeFile(const std::filesystem::path& file, const std::string& text) {
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    if (!stream.flush()) {
        throw std::runtime_error("can't write " + file.string());
    }
}

}  // namespace marlet
