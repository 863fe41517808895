#pragma once

#include <filesystem>

#include "MarletKit/FilePasswordItems.h"
#include "MarletKit/SecretServicePasswordItems.h"

namespace marlet {

// This system's two keychains: the desktop's Secret Service is the data-protection one, a file the file-based one.
class PlatformPasswordItems final : public PasswordItems {
public:
    explicit PlatformPasswordItems(std::filesystem::path tokenFile, SecretServiceOptions options = {});

    int32_t copyMatching(const PasswordQuery& query, std::optional<std::string>& data) override;
    int32_t add(const PasswordQuery& query, const std::string& data, const std::string& label) override;
    int32_t update(const PasswordQuery& query, const std::string& data) override;
    int32_t remove(const PasswordQuery& query) override;

private:
    PasswordItems& keychain(const PasswordQuery& query);

    SecretServicePasswordItems secretService;
    FilePasswordItems file;
};

}  // namespace marlet
