#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace marlet {

// Fills `bytes` from the system's secure generator, or from the source that a test has put in its place.
// Safe from any thread.
void fillRandom(std::span<uint8_t> bytes);

// While one of these lives, every random byte of the process comes from a generator with this seed, so that a run can
// be repeated. Make and destroy it while nothing else runs.
class SeededRandom {
public:
    explicit SeededRandom(uint64_t seed);
    SeededRandom(const SeededRandom&) = delete;
    SeededRandom& operator=(const SeededRandom&) = delete;
    ~SeededRandom();
};

}  // namespace marlet
