#include "MarletKit/FilePasswordItems.h"

#include <fmt/format.h>
#include <sodium.h>

#include <algorithm>
#include <system_error>

#include "MarletBase/Base64.h"
#include "MarletBase/Coding.h"
#include "MarletBase/PrivateFile.h"
#include "MarletKit/KeychainError.h"

namespace marlet {

// `data` is in Base64: a password may be any bytes.
struct FilePassword {
    std::string service;
    std::string account;
    std::string label;
    std::string data;
};
BOOST_DESCRIBE_STRUCT(FilePassword, (), (service, account, label, data))

struct PasswordFile {
    int64_t version = 0;
    std::vector<FilePassword> passwords;
};
BOOST_DESCRIBE_STRUCT(PasswordFile, (), (version, passwords))

namespace {

constexpr int64_t currentVersion = 1;

using Passwords = std::vector<FilePassword>;

// No value for what isn't Base64.
std::optional<std::string> decodedBytes(const std::string& text) {
    std::string bytes(text.size(), '\0');
    size_t length = 0;
    bool isFine = sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                                    text.size(), nullptr, &length, nullptr, sodium_base64_VARIANT_ORIGINAL) == 0;
    bytes.resize(length);
    return isFine ? std::optional(std::move(bytes)) : std::nullopt;
}

void wipe(std::string& secret) {
    sodium_memzero(secret.data(), secret.size());
}

void wipe(Passwords& passwords) {
    for (FilePassword& password : passwords) {
        wipe(password.data);
    }
}

Passwords::iterator find(Passwords& passwords, const PasswordQuery& query) {
    return std::find_if(passwords.begin(), passwords.end(), [&](const FilePassword& password) {
        return password.service == query.service && password.account == query.account;
    });
}

KeychainError damaged(const std::filesystem::path& file) {
    return {keychainDataDamaged, fmt::format("The token file {} is damaged. Restore it from a backup, or move it away "
                                             "and enter the accounts' tokens again.",
                                             file.string())};
}

KeychainError unusable(const std::filesystem::path& file, const std::error_code& reason) {
    bool isFull = reason == std::errc::no_space_on_device || reason.value() == EDQUOT;
    bool isRefused = reason == std::errc::permission_denied || reason == std::errc::operation_not_permitted ||
                     reason == std::errc::read_only_file_system;
    int32_t status = keychainFileFailed;
    const char* hint = "Check that it is a plain file in a folder on a working disk.";
    if (isFull) {
        status = keychainDiskFull;
        hint = "Make room and try again.";
    } else if (isRefused) {
        status = keychainFileReadOnly;
        hint = "Check its permissions and those of its folder.";
    }
    return {status, fmt::format("The token file {} can't be used: {}. {}", file.string(), reason.message(), hint)};
}

// Runs what touches the file, and tells what went wrong in its words.
template <class Operation>
auto onFile(const std::filesystem::path& file, Operation operation) {
    try {
        return operation();
    } catch (const std::system_error& error) {
        throw unusable(file, error.code());
    } catch (const DecodingError&) {
        throw damaged(file);
    }
}

}  // namespace

FilePasswordItems::FilePasswordItems(std::filesystem::path tokenFile) : file(std::move(tokenFile)) {}

Passwords FilePasswordItems::load() const {
    std::optional<std::string> content = readPrivateFile(file);
    if (!content) {
        return {};
    }
    boost::json::value json = parseJSON(*content);
    wipe(*content);
    const boost::json::object* top = json.if_object();
    const boost::json::value* version = top ? top->if_contains("version") : nullptr;
    if (version && version->is_int64() && version->get_int64() > currentVersion) {
        throw KeychainError(
            keychainDataDamaged,
            fmt::format("The token file {} was written by a newer version of Marlet. Update Marlet.", file.string()));
    }
    return decoded<PasswordFile>(json).passwords;
}

void FilePasswordItems::save(const Passwords& passwords) const {
    std::string content = sortedJSON(encode(PasswordFile{currentVersion, passwords}, DateCoding::seconds));
    content += '\n';
    replacePrivateFile(file, content);
    wipe(content);
}

int32_t FilePasswordItems::copyMatching(const PasswordQuery& query, std::optional<std::string>& data) {
    return onFile(file, [&]() -> int32_t {
        Passwords passwords = load();
        auto found = find(passwords, query);
        if (found == passwords.end()) {
            return keychainItemNotFound;
        }
        data = decodedBytes(found->data);
        wipe(passwords);
        if (!data) {
            throw damaged(file);
        }
        return keychainDone;
    });
}

// `edit` answers with a status; anything but keychainDone leaves the file as it is.
int32_t FilePasswordItems::change(const std::function<int32_t(Passwords&)>& edit) {
    return onFile(file, [&] {
        FolderLock held(file.parent_path());
        Passwords passwords = load();
        int32_t status = edit(passwords);
        if (status == keychainDone) {
            save(passwords);
        }
        wipe(passwords);
        return status;
    });
}

int32_t FilePasswordItems::add(const PasswordQuery& query, const std::string& data, const std::string& label) {
    return change([&](Passwords& passwords) -> int32_t {
        auto found = find(passwords, query);
        if (found == passwords.end()) {
            found = passwords.insert(found, {query.service, query.account, label, {}});
        }
        found->data = base64(data);
        return keychainDone;
    });
}

int32_t FilePasswordItems::update(const PasswordQuery& query, const std::string& data) {
    return change([&](Passwords& passwords) -> int32_t {
        auto found = find(passwords, query);
        if (found == passwords.end()) {
            return keychainItemNotFound;
        }
        found->data = base64(data);
        return keychainDone;
    });
}

int32_t FilePasswordItems::remove(const PasswordQuery& query) {
    return change([&](Passwords& passwords) -> int32_t {
        auto found = find(passwords, query);
        if (found == passwords.end()) {
            return keychainItemNotFound;
        }
        wipe(found->data);
        passwords.erase(found);
        return keychainDone;
    });
}

}  // namespace marlet
