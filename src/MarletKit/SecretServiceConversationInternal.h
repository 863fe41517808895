#pragma once

#include <libsecret/secret.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "MarletKit/PasswordItems.h"

namespace marlet {

struct ObjectRelease {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class Type>
using Object = std::unique_ptr<Type, ObjectRelease>;

// Cancels what is under way when the time is over. The library's calls take no deadline themselves.
class CallDeadline {
public:
    explicit CallDeadline(std::chrono::milliseconds patience);
    CallDeadline(const CallDeadline&) = delete;
    CallDeadline& operator=(const CallDeadline&) = delete;
    ~CallDeadline();

    GCancellable* cancellable() const { return signal.get(); }

private:
    Object<GCancellable> signal;
    std::mutex lock;
    std::condition_variable changed;
    bool isFinished = false;
    std::thread watch;
};

// The calling thread's own main context for as long as it lives: what the library's objects still have to do when they
// go is done there, instead of waiting in a loop that nobody runs.
class ThreadContext {
public:
    ThreadContext() : context(g_main_context_new()) { g_main_context_push_thread_default(context); }
    ThreadContext(const ThreadContext&) = delete;
    ThreadContext& operator=(const ThreadContext&) = delete;
    ~ThreadContext() {
        while (g_main_context_iteration(context, FALSE)) {
        }
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
    }

private:
    GMainContext* context;
};

// One connection to the bus and the service on it, used by one thread. Throws KeychainError.
class SecretServiceConversation {
public:
    // keychainUnavailable if there is no bus at the address or no service on it.
    SecretServiceConversation(const std::string& busAddress, std::chrono::milliseconds patience);
    SecretServiceConversation(const SecretServiceConversation&) = delete;
    SecretServiceConversation& operator=(const SecretServiceConversation&) = delete;
    ~SecretServiceConversation();

    // What matches in any collection, with its secrets. keychainLocked if that can't be known.
    std::vector<Object<SecretItem>> find(const PasswordQuery& query);
    // Into the default collection, in place of what matches there.
    void store(const PasswordQuery& query, const std::string& data, const std::string& label);
    void setSecret(SecretItem& item, const std::string& data);
    void remove(SecretItem& item);

private:
    void connect(const std::string& busAddress);
    void startService();
    bool callBus(const char* method, GVariant* arguments);
    void openService();
    std::vector<Object<SecretItem>> search(const PasswordQuery& query);
    Object<SecretCollection> defaultCollection();
    void unlock(SecretCollection& collection);

    ThreadContext context;
    CallDeadline deadline;
    Object<GDBusConnection> connection;
    Object<SecretService> service;
};

}  // namespace marlet
