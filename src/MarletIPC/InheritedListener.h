#pragma once

#include <optional>

namespace marlet {

// A listening socket that was made before this process, which was started with it, as systemd does for a service that
// has a socket unit.
class InheritedListener {
public:
    // Where the protocol puts the first descriptor.
    static constexpr int firstDescriptor = 3;

    // Takes over what LISTEN_PID and LISTEN_FDS tell of; no value when that isn't for this process. From then on the
    // processes that this one starts get neither the variables nor the socket. To be called before there are threads.
    // Throws LineServerError for more than one descriptor, and for one that isn't a listening Unix socket.
    static std::optional<InheritedListener> take(int first = firstDescriptor);

    InheritedListener(InheritedListener&& other) noexcept;
    InheritedListener& operator=(InheritedListener&&) = delete;
    ~InheritedListener();

    // Gives the descriptor away.
    int release();

private:
    explicit InheritedListener(int listening) : descriptor(listening) {}

    int descriptor;
};

}  // namespace marlet
