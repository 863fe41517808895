#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "MarletKit/PasswordItems.h"

namespace marlet {

struct FilePassword;

// The file-based keychain: one file of JSON that only its owner may read, replaced as a whole by every change.
//
// Several processes may use it at once. A file that is damaged, or of a newer version, is refused and stays as it is.
class FilePasswordItems final : public PasswordItems {
public:
    // Its folder must be there; the file comes with the first password.
    explicit FilePasswordItems(std::filesystem::path tokenFile);

    int32_t copyMatching(const PasswordQuery& query, std::optional<std::string>& data) override;
    int32_t add(const PasswordQuery& query, const std::string& data, const std::string& label) override;
    int32_t update(const PasswordQuery& query, const std::string& data) override;
    int32_t remove(const PasswordQuery& query) override;

private:
    std::vector<FilePassword> load() const;
    int32_t change(const std::function<int32_t(std::vector<FilePassword>&)>& edit);
    void save(const std::vector<FilePassword>& passwords) const;

    const std::filesystem::path file;
};

}  // namespace marlet
