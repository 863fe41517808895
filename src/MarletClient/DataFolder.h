#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/Descriptor.h"
#include "MarletBase/LocalizedError.h"

namespace marlet {

class DataFolderError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// The user's home: $HOME, or else what the system knows.
std::filesystem::path homeFolder();

// The folder that holds all that one Marlet keeps.
class DataFolder {
public:
    // $XDG_DATA_HOME/marlet, or ~/.local/share/marlet.
    static std::filesystem::path defaultPath();

    // Makes the folder, for the user alone, if it isn't there. Throws DataFolderError.
    static DataFolder open(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return folder; }
    std::filesystem::path controlSocket() const { return folder / "control"; }
    std::filesystem::path helperSocket() const { return folder / "helper"; }
    std::filesystem::path lockFile() const { return folder / "lock"; }
    // For want of a keyring.
    std::filesystem::path tokenFile() const { return folder / "tokens.json"; }
    std::filesystem::path endpointFile() const { return folder / "endpoint.json"; }

private:
    explicit DataFolder(std::filesystem::path opened) : folder(std::move(opened)) {}

    std::filesystem::path folder;
};

// Replaces the file as a whole: after a crash there is the old one or the new one. Mode 0600, whatever the umask.
// Throws DataFolderError.
void writePrivateFile(const std::filesystem::path& file, std::string_view bytes);

// No value if there is no such file. Throws DataFolderError for one that can't be read.
std::optional<std::string> readFile(const std::filesystem::path& file);

// The right to use a data folder; held by one process at a time and given up when the process ends, however it ends.
class DataFolderLock {
public:
    // No value while another process has it. Throws DataFolderError for a folder that can't be written.
    static std::optional<DataFolderLock> tryTake(const DataFolder& folder);
    // The process that has it, as far as it has said.
    static std::optional<int> holder(const DataFolder& folder);

private:
    explicit DataFolderLock(Descriptor locked) : descriptor(std::move(locked)) {}

    Descriptor descriptor;
};

}  // namespace marlet
