#pragma once

#include <unistd.h>

#include <utility>

namespace marlet {

// An open file, socket or the like, closed when this goes. Negative: none.
class Descriptor {
public:
    explicit Descriptor(int opened) : value(opened) {}
    Descriptor(Descriptor&& other) noexcept : value(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        int taken = other.release();
        close();
        value = taken;
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return value; }
    int release() { return std::exchange(value, -1); }
    void close() {
        if (value >= 0) {
            ::close(release());
        }
    }

private:
    int value;
};

}  // namespace marlet
