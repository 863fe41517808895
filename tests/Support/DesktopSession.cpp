#include "TestSupport/DesktopSession.h"

#include <gio/gio.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <fstream>
#include <mutex>
#include <stdexcept>

namespace marlet {
namespace {

constexpr const char* secretsName = "org.freedesktop.secrets";
constexpr std::chrono::seconds patience(30);
constexpr int callPatience = 10'000;

// No folder of services: what isn't started by the test isn't there.
constexpr const char* busConfiguration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path={}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

void requireDone(GError* error) {
    if (error) {
        std::string message = error->message;
        g_error_free(error);
        throw std::runtime_error(message);
    }
}

GVariant* call(GDBusConnection* connection, const char* destination, const char* path, const char* interface,
               const char* method, GVariant* arguments) {
    GError* error = nullptr;
    GVariant* answer = g_dbus_connection_call_sync(connection, destination, path, interface, method, arguments, nullptr,
                                                   G_DBUS_CALL_FLAGS_NONE, callPatience, nullptr, &error);
    requireDone(error);
    return answer;
}

GVariant* callBus(GDBusConnection* connection, const char* method, GVariant* arguments) {
    return call(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, arguments);
}

}  // namespace

struct BusConnection::State {
    GDBusConnection* connection = nullptr;

    std::mutex lock;
    std::condition_variable somethingCame;
    size_t received = 0;
};

namespace {

GDBusMessage* answer(GDBusMessage* call) {
    const char* algorithm = "";
    GVariant* body = g_dbus_message_get_body(call);
    if (std::string_view(g_dbus_message_get_member(call)) == "OpenSession" && body) {
        g_variant_get_child(body, 0, "&s", &algorithm);
    }
    if (std::string_view(algorithm) != "plain") {
        return g_dbus_message_new_method_error_literal(call, "org.freedesktop.DBus.Error.NotSupported", "Not here");
    }
    GDBusMessage* opened = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_body(opened, g_variant_new("(vo)", g_variant_new_string(""), "/session"));
    return opened;
}

// On the library's own thread.
GDBusMessage* takeCall(GDBusConnection* connection, GDBusMessage* message, gboolean isIncoming, gpointer data) {
    if (!isIncoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        return message;
    }
    if (std::string_view(g_dbus_message_get_member(message)) == static_cast<const char*>(data)) {
        g_dbus_connection_close(connection, nullptr, nullptr, nullptr);
    } else {
        GDBusMessage* reply = answer(message);
        g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
        g_object_unref(reply);
    }
    g_object_unref(message);
    return nullptr;
}

bool hasOwner(GDBusConnection* connection, const std::string& name) {
    GVariant* answer = callBus(connection, "NameHasOwner", g_variant_new("(s)", name.c_str()));
    gboolean isOwned = FALSE;
    g_variant_get(answer, "(b)", &isOwned);
    g_variant_unref(answer);
    return isOwned != FALSE;
}

}  // namespace

BusConnection::BusConnection(const std::string& address) : state(std::make_unique<State>()) {
    auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                   G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GError* error = nullptr;
    state->connection = g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, nullptr, &error);
    requireDone(error);
}

BusConnection::~BusConnection() {
    g_dbus_connection_close_sync(state->connection, nullptr, nullptr);
    g_object_unref(state->connection);
}

// The library's own thread tells of signals as they come.
void BusConnection::waitForOwner(const std::string& name, bool isOwned) {
    auto noteSignal = [](GDBusConnection*, GDBusMessage* message, gboolean, gpointer data) -> GDBusMessage* {
        auto* noted = static_cast<State*>(data);
        if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_SIGNAL) {
            std::scoped_lock held(noted->lock);
            noted->received += 1;
            noted->somethingCame.notify_all();
        }
        return message;
    };
    guint filter = g_dbus_connection_add_filter(state->connection, noteSignal, state.get(), nullptr);
    std::string rule = "type='signal',member='NameOwnerChanged',arg0='" + name + "'";
    g_variant_unref(callBus(state->connection, "AddMatch", g_variant_new("(s)", rule.c_str())));
    bool hasCome = true;
    for (size_t seen = 0; hasCome && hasOwner(state->connection, name) != isOwned;) {
        std::unique_lock held(state->lock);
        hasCome = state->somethingCame.wait_for(held, patience, [&] { return state->received != seen; });
        seen = state->received;
    }
    g_dbus_connection_remove_filter(state->connection, filter);
    if (!hasCome) {
        throw std::runtime_error("What the test waits for doesn't come.");
    }
}

void BusConnection::playDyingService(const char* last) {
    g_dbus_connection_add_filter(state->connection, takeCall, const_cast<char*>(last), nullptr);
    g_variant_unref(callBus(state->connection, "RequestName", g_variant_new("(su)", secretsName, 0U)));
}

void BusConnection::lockCollection(const std::string& path) const {
    const char* paths[] = {path.c_str()};
    GVariant* arguments = g_variant_new("(@ao)", g_variant_new_objv(paths, 1));
    g_variant_unref(call(state->connection, secretsName, "/org/freedesktop/secrets", "org.freedesktop.Secret.Service",
                         "Lock", arguments));
}

DesktopSession::DesktopSession() : busAddress("unix:path=" + (folder.path() / "bus").string()) {
    std::string configuration = busConfiguration;
    configuration.replace(configuration.find("{}"), 2, (folder.path() / "bus").string());
    std::ofstream(folder.path() / "bus.conf") << configuration;
    startBus();
}

void DesktopSession::startBus() {
    busDaemon = std::make_unique<ChildProcess>(
        std::vector<std::string>{"dbus-daemon", "--config-file=" + (folder.path() / "bus.conf").string(), "--nofork",
                                 "--nopidfile", "--print-address=1"});
    if (!busDaemon->readLine()) {
        throw std::runtime_error("The message bus didn't start: " + busDaemon->errors);
    }
}

void DesktopSession::restartBus() {
    busDaemon->send(SIGKILL);
    busDaemon->wait();
    std::filesystem::remove(folder.path() / "bus");
    startBus();
}

std::vector<std::string> DesktopSession::environment() const {
    std::string home = folder.path().string();
    return {"HOME=" + home,
            "XDG_DATA_HOME=" + home,
            "XDG_CONFIG_HOME=" + home,
            "XDG_CACHE_HOME=" + home,
            "XDG_RUNTIME_DIR=" + home,
            "GNOME_KEYRING_CONTROL=",
            "DISPLAY=",
            "WAYLAND_DISPLAY=",
            "DBUS_SESSION_BUS_ADDRESS=" + busAddress};
}

void DesktopSession::startKeyring(const std::string& password) {
    std::vector<std::string> line{"gnome-keyring-daemon", "--foreground", "--components=secrets",
                                  "--control-directory=" + (folder.path() / "keyring").string()};
    if (!password.empty()) {
        line.emplace_back("--unlock");
    }
    keyringDaemon = std::make_unique<ChildProcess>(line, password, environment());
    BusConnection look(busAddress);
    look.waitForOwner(secretsName, true);
}

void DesktopSession::stopKeyring(int signal) {
    keyringDaemon->send(signal);
    keyringDaemon->wait();
    keyringDaemon.reset();
    BusConnection look(busAddress);
    look.waitForOwner(secretsName, false);
}

}  // namespace marlet
