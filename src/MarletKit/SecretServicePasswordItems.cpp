#include "MarletKit/SecretServicePasswordItems.h"

#include <sys/stat.h>

#include <cstdlib>

#include "MarletKit/KeychainError.h"
#include "MarletKit/SecretServiceConversationInternal.h"

namespace marlet {
namespace {

constexpr std::string_view autolaunch = "autolaunch:";

// The entries of a list of addresses, but for those that would start a bus of their own.
std::string withoutAutolaunch(std::string_view addresses) {
    std::string kept;
    while (!addresses.empty()) {
        size_t end = std::min(addresses.find(';'), addresses.size());
        std::string_view entry = addresses.substr(0, end);
        if (!entry.empty() && !entry.starts_with(autolaunch)) {
            kept += kept.empty() ? "" : ";";
            kept += entry;
        }
        addresses.remove_prefix(std::min(end + 1, addresses.size()));
    }
    return kept;
}

bool isSocket(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

std::optional<std::string> bytes(SecretItem& item) {
    SecretValue* value = secret_item_get_secret(&item);
    if (!value) {
        return std::nullopt;
    }
    gsize length = 0;
    const char* start = secret_value_get(value, &length);
    std::string copy(start, length);
    secret_value_unref(value);
    return copy;
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
    if (const char* named = std::getenv("DBUS_SESSION_BUS_ADDRESS"); named && *named != '\0') {
        std::string usable = withoutAutolaunch(named);
        return usable.empty() ? std::nullopt : std::optional(std::move(usable));
    }
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    std::string socket = folder && *folder == '/' ? std::string(folder) + "/bus" : std::string();
    if (socket.empty() || !isSocket(socket)) {
        return std::nullopt;
    }
    gchar* escaped = g_dbus_address_escape_value(socket.c_str());
    std::string address = std::string("unix:path=") + escaped;
    g_free(escaped);
    return address;
}

SecretServicePasswordItems::SecretServicePasswordItems(SecretServiceOptions options) : options(std::move(options)) {}

int32_t SecretServicePasswordItems::converse(const std::function<int32_t(SecretServiceConversation&)>& operation) {
    try {
        std::optional<std::string> address = options.busAddress ? options.busAddress : sessionBusAddress();
        if (!address) {
            throw KeychainError(keychainUnavailable);
        }
        SecretServiceConversation conversation(*address, options.patience);
        wasReached = true;
        return operation(conversation);
    } catch (const KeychainError& error) {
        return error.status == keychainUnavailable && wasReached ? keychainGone : error.status;
    }
}

int32_t SecretServicePasswordItems::copyMatching(const PasswordQuery& query, std::optional<std::string>& data) {
    return converse([&](SecretServiceConversation& conversation) -> int32_t {
        std::vector<Object<SecretItem>> items = conversation.find(query);
        if (items.empty()) {
            return keychainItemNotFound;
        }
        data = bytes(*items.front());
        return keychainDone;
    });
}

int32_t SecretServicePasswordItems::add(const PasswordQuery& query, const std::string& data, const std::string& label) {
    return converse([&](SecretServiceConversation& conversation) -> int32_t {
        conversation.store(query, data, label);
        return keychainDone;
    });
}

// The same item may lie in several collections; they shall not tell different things.
int32_t SecretServicePasswordItems::update(const PasswordQuery& query, const std::string& data) {
    return converse([&](SecretServiceConversation& conversation) -> int32_t {
        std::vector<Object<SecretItem>> items = conversation.find(query);
        for (const Object<SecretItem>& item : items) {
            conversation.setSecret(*item, data);
        }
        return items.empty() ? keychainItemNotFound : keychainDone;
    });
}

int32_t SecretServicePasswordItems::remove(const PasswordQuery& query) {
    return converse([&](SecretServiceConversation& conversation) -> int32_t {
        std::vector<Object<SecretItem>> items = conversation.find(query);
        for (const Object<SecretItem>& item : items) {
            conversation.remove(*item);
        }
        return items.empty() ? keychainItemNotFound : keychainDone;
    });
}

}  // namespace marlet
