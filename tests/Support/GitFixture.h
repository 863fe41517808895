#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// Real git against a server that is a folder of bare repositories.
//
// While one of these lives, every git that this process starts has a configuration of the test's own and nothing of the
// user's, and finds the server's repositories by their https and ssh addresses.
class GitFixture {
public:
    GitFixture();
    GitFixture(const GitFixture&) = delete;
    GitFixture& operator=(const GitFixture&) = delete;
    ~GitFixture();

    // "https://forge.example/OWNER/NAME.git" and "git@forge.example:OWNER/NAME.git".
    static std::string https(const std::string& repository);
    static std::string ssh(const std::string& repository);

    // For checkouts and whatever else the test makes, without symbolic links.
    const std::filesystem::path& folder() const { return work; }
    std::filesystem::path bare(const std::string& repository) const;

    // "OWNER/NAME", without commits.
    void addEmptyRepository(const std::string& repository);
    // With one commit on "main".
    void addRepository(const std::string& repository);
    // On top of `parent`, if there is such a ref, at `ref`, which may be any. Gives the commit.
    std::string commit(const std::string& repository, const std::string& ref,
                       const std::map<std::string, std::string>& files, const std::string& parent = "refs/heads/main");
    // Its addresses lead nowhere until it is back.
    void takeServerAway();
    void bringServerBack();

    // What git says, without the last line end; throws std::runtime_error, with what it says, when it fails.
    static std::string git(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
                           const std::string& input = {});

private:
    void setVariable(const std::string& name, const std::optional<std::string>& value);

    TemporaryFolder temporary;
    std::filesystem::path work;
    std::filesystem::path server;
    std::map<std::string, std::optional<std::string>> variablesBefore;
};

std::string contentOf(const std::filesystem::path& file);
void writeFile(const std::filesystem::path& file, const std::string& text);

}  // namespace marlet
