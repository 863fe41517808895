#pragma once

#include <filesystem>

namespace marlet {

// A new folder of the test's own, removed with all it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return folder; }

private:
    std::filesystem::path folder;
};

}  // namespace marlet
