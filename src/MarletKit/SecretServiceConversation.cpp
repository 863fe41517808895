#include "MarletKit/KeychainError.h"
#include "MarletKit/SecretServiceConversationInternal.h"

namespace marlet {
namespace {

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr int noTimeoutOfItsOwn = G_MAXINT;

// The error of one call of the library, told as a KeychainError.
class CallError {
public:
    CallError() = default;
    CallError(const CallError&) = delete;
    CallError& operator=(const CallError&) = delete;
    ~CallError() { g_clear_error(&error); }

    GError** out() { return &error; }
    bool isSet() const { return error; }
    bool is(GQuark domain, int code) const { return g_error_matches(error, domain, code); }

    // The library's own words stay inside: what a service says isn't known to be free of secrets.
    int32_t status() const {
        if (is(SECRET_ERROR, SECRET_ERROR_IS_LOCKED)) {
            return keychainLocked;
        }
        if (is(SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT) || is(G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT)) {
            return keychainItemNotFound;
        }
        if (is(G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) || is(G_DBUS_ERROR, G_DBUS_ERROR_AUTH_FAILED)) {
            return keychainDenied;
        }
        return isGone() ? keychainGone : keychainInternalFailure;
    }

    void throwIfSet() const {
        if (isSet()) {
            throw KeychainError(status());
        }
    }

private:
    bool isGone() const {
        for (int code : {G_IO_ERROR_CANCELLED, G_IO_ERROR_TIMED_OUT, G_IO_ERROR_CLOSED, G_IO_ERROR_BROKEN_PIPE,
                         G_IO_ERROR_NOT_CONNECTED}) {
            if (is(G_IO_ERROR, code)) {
                return true;
            }
        }
        for (int code : {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER, G_DBUS_ERROR_NO_REPLY,
                         G_DBUS_ERROR_DISCONNECTED, G_DBUS_ERROR_TIMEOUT, G_DBUS_ERROR_TIMED_OUT}) {
            if (is(G_DBUS_ERROR, code)) {
                return true;
            }
        }
        return false;
    }

    GError* error = nullptr;
};

struct TableRelease {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, TableRelease>;

struct ValueRelease {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, ValueRelease>;

const SecretSchema& schema() {
    static const SecretSchema known = [] {
        SecretSchema made{};
        made.name = "io.tolvane.Marlet.AccountToken";
        made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return known;
}

Attributes attributes(const PasswordQuery& query) {
    return Attributes(secret_attributes_build(&schema(), "service", query.service.c_str(), "account",
                                              query.account.c_str(), nullptr));
}

Value secretValue(const std::string& data) {
    return Value(secret_value_new(data.data(), static_cast<gssize>(data.size()), "text/plain"));
}

// A service whose prompts are all refused at once: nobody may be there to see one.
void refusePrompt(SecretService* service, SecretPrompt*, const GVariantType*, GCancellable* cancellable,
                  GAsyncReadyCallback callback, gpointer data) {
    GTask* task = g_task_new(service, cancellable, callback, data);
    g_task_return_new_error(task, SECRET_ERROR, SECRET_ERROR_IS_LOCKED, "A prompt would be needed");
    g_object_unref(task);
}

GVariant* finishPrompt(SecretService*, GAsyncResult* result, GError** error) {
    return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

void initializePromptless(gpointer type, gpointer) {
    auto* methods = static_cast<SecretServiceClass*>(type);
    // The library's own constructor only sets what openService() gives, but for the shared connection instead of ours.
    G_OBJECT_CLASS(type)->constructor = static_cast<GObjectClass*>(g_type_class_peek(G_TYPE_DBUS_PROXY))->constructor;
    methods->prompt_async = refusePrompt;
    methods->prompt_finish = finishPrompt;
}

GType promptlessServiceType() {
    static const GType type =
        g_type_register_static_simple(SECRET_TYPE_SERVICE, "MarletPromptlessService", sizeof(SecretServiceClass),
                                      initializePromptless, sizeof(SecretService), nullptr, GTypeFlags(0));
    return type;
}

}  // namespace

CallDeadline::CallDeadline(std::chrono::milliseconds patience)
    : signal(g_cancellable_new()), watch([this, patience] {
          std::unique_lock held(lock);
          if (!changed.wait_for(held, patience, [this] { return isFinished; })) {
              g_cancellable_cancel(signal.get());
          }
      }) {}

CallDeadline::~CallDeadline() {
    {
        std::scoped_lock held(lock);
        isFinished = true;
    }
    changed.notify_one();
    watch.join();
}

SecretServiceConversation::SecretServiceConversation(const std::string& busAddress, std::chrono::milliseconds patience)
    : deadline(patience) {
    connect(busAddress);
    startService();
    openService();
}

SecretServiceConversation::~SecretServiceConversation() {
    service.reset();
    // Without waiting for an answer, which a bus that hangs would never give.
    g_dbus_connection_close(connection.get(), nullptr, nullptr, nullptr);
}

// A connection of our own: the library's shared one ends the whole process when the bus dies.
void SecretServiceConversation::connect(const std::string& busAddress) {
    auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                   G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    CallError error;
    connection.reset(g_dbus_connection_new_for_address_sync(busAddress.c_str(), flags, nullptr, deadline.cancellable(),
                                                            error.out()));
    if (error.isSet()) {
        bool isOverdue = error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED);
        throw KeychainError(isOverdue ? keychainGone : keychainUnavailable);
    }
}

// A service that isn't there and can't be started is one that isn't on this bus, whatever the reason: one that is
// installed may need a display that nobody has here. A bus that doesn't answer says nothing about that.
void SecretServiceConversation::startService() {
    bool isThere = callBus("GetNameOwner", g_variant_new("(s)", serviceName)) ||
                   callBus("StartServiceByName", g_variant_new("(su)", serviceName, 0U));
    if (!isThere) {
        throw KeychainError(keychainUnavailable);
    }
}

// False if the bus says no.
bool SecretServiceConversation::callBus(const char* method, GVariant* arguments) {
    CallError error;
    GVariant* answer = g_dbus_connection_call_sync(connection.get(), busName, "/org/freedesktop/DBus", busName, method,
                                                   arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, noTimeoutOfItsOwn,
                                                   deadline.cancellable(), error.out());
    if (error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED) || error.is(G_IO_ERROR, G_IO_ERROR_CLOSED)) {
        throw KeychainError(keychainGone);
    }
    if (answer) {
        g_variant_unref(answer);
    }
    return !error.isSet();
}

void SecretServiceConversation::openService() {
    CallError error;
    gpointer made = g_initable_new(promptlessServiceType(), deadline.cancellable(), error.out(), "g-flags",
                                   G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START, "g-connection", connection.get(), "g-name",
                                   serviceName, "g-object-path", "/org/freedesktop/secrets", "g-interface-name",
                                   "org.freedesktop.Secret.Service", nullptr);
    error.throwIfSet();
    service.reset(static_cast<SecretService*>(made));
}

std::vector<Object<SecretItem>> SecretServiceConversation::search(const PasswordQuery& query) {
    auto flags = static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK | SECRET_SEARCH_LOAD_SECRETS);
    CallError error;
    GList* found = secret_service_search_sync(service.get(), &schema(), attributes(query).get(), flags,
                                              deadline.cancellable(), error.out());
    std::vector<Object<SecretItem>> items;
    for (GList* link = found; link; link = link->next) {
        items.emplace_back(static_cast<SecretItem*>(link->data));
    }
    g_list_free(found);
    error.throwIfSet();
    for (const Object<SecretItem>& item : items) {
        if (secret_item_get_locked(item.get())) {
            throw KeychainError(keychainLocked);
        }
    }
    return items;
}

std::vector<Object<SecretItem>> SecretServiceConversation::find(const PasswordQuery& query) {
    std::vector<Object<SecretItem>> items = search(query);
    if (!items.empty()) {
        return items;
    }
    // Some services see nothing in a locked collection. That isn't to be taken for an item that isn't there.
    Object<SecretCollection> collection = defaultCollection();
    if (!collection || !secret_collection_get_locked(collection.get())) {
        return items;
    }
    unlock(*collection);
    return search(query);
}

Object<SecretCollection> SecretServiceConversation::defaultCollection() {
    CallError error;
    Object<SecretCollection> collection(secret_collection_for_alias_sync(
        service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, deadline.cancellable(), error.out()));
    error.throwIfSet();
    return collection;
}

// A collection without a password opens without a prompt.
void SecretServiceConversation::unlock(SecretCollection& collection) {
    GList only{&collection, nullptr, nullptr};
    CallError error;
    int count = secret_service_unlock_sync(service.get(), &only, deadline.cancellable(), nullptr, error.out());
    error.throwIfSet();
    if (count == 0) {
        throw KeychainError(keychainLocked);
    }
}

void SecretServiceConversation::store(const PasswordQuery& query, const std::string& data, const std::string& label) {
    CallError error;
    secret_service_store_sync(service.get(), &schema(), attributes(query).get(), SECRET_COLLECTION_DEFAULT,
                              label.c_str(), secretValue(data).get(), deadline.cancellable(), error.out());
    // To make the first collection is up to the user, who chooses its password.
    if (error.isSet() && error.status() == keychainLocked && !defaultCollection()) {
        throw KeychainError(keychainHasNoDefault);
    }
    error.throwIfSet();
}

void SecretServiceConversation::setSecret(SecretItem& item, const std::string& data) {
    CallError error;
    secret_item_set_secret_sync(&item, secretValue(data).get(), deadline.cancellable(), error.out());
    error.throwIfSet();
}

void SecretServiceConversation::remove(SecretItem& item) {
    CallError error;
    secret_item_delete_sync(&item, deadline.cancellable(), error.out());
    error.throwIfSet();
}

}  // namespace marlet
