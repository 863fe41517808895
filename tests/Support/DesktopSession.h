#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport/ChildProcess.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// A connection of the test's own to a message bus, to look at it or to play a service on it.
class BusConnection {
public:
    explicit BusConnection(const std::string& address);
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    ~BusConnection();

    // Returns when the name has come to the bus, or gone from it; throws after half a minute.
    void waitForOwner(const std::string& name, bool isOwned);
    // Plays a Secret Service that opens sessions, can do nothing else, and leaves the bus when it is called by `last`,
    // which must outlive it.
    void playDyingService(const char* last);
    // Has the Secret Service lock one of its collections.
    void lockCollection(const std::string& path) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

// A desktop's session with nothing of the user's: a message bus that starts no service by itself and, when asked for,
// a keyring daemon on it. Everything it started has ended when it goes.
class DesktopSession {
public:
    DesktopSession();

    // Unlocked with this password, made with it the first time; locked when it is empty. Waits until it is ready.
    void startKeyring(const std::string& password = "of the session");
    // Ends by the signal and waits until the bus has noticed.
    void stopKeyring(int signal);
    ChildProcess& keyring() { return *keyringDaemon; }
    ChildProcess& bus() { return *busDaemon; }
    // At the same address; whoever was connected isn't any more.
    void restartBus();

    const std::string& address() const { return busAddress; }
    // For a program that runs in this session.
    std::vector<std::string> environment() const;

private:
    void startBus();

    TemporaryFolder folder;
    std::string busAddress;
    std::unique_ptr<ChildProcess> busDaemon;
    std::unique_ptr<ChildProcess> keyringDaemon;
};

}  // namespace marlet
