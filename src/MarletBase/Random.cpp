#include "MarletBase/Random.h"

#include <sodium.h>

#include <mutex>
#include <optional>
#include <random>

#include "MarletBase/LocalizedError.h"

namespace marlet {
namespace {

struct SeededSource {
    std::mutex lock;
    std::optional<std::mt19937_64> generator;
};

SeededSource& seededSource() {
    static SeededSource source;
    return source;
}

}  // namespace

void fillRandom(std::span<uint8_t> bytes) {
    SeededSource& seeded = seededSource();
    std::scoped_lock guard(seeded.lock);
    if (seeded.generator) {
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>((*seeded.generator)());
        }
        return;
    }
    // Cheap after the first time, and needed before any other call of the library.
    if (sodium_init() < 0) {
        programmingError("The secure random generator can't be started.");
    }
    randombytes_buf(bytes.data(), bytes.size());
}

SeededRandom::SeededRandom(uint64_t seed) {
    SeededSource& seeded = seededSource();
    std::scoped_lock guard(seeded.lock);
    seeded.generator.emplace(seed);
}

SeededRandom::~SeededRandom() {
    SeededSource& seeded = seededSource();
    std::scoped_lock guard(seeded.lock);
    seeded.generator.reset();
}

}  // namespace marlet
