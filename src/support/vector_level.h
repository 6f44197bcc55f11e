#pragma once

#include <atomic>

// How wide the vector paths (the decoders, the body scan) may go. Each path
// also needs its instructions on the processor; the limit lets the tests run
// every path this machine has, narrower ones included, against the plain code.
enum class VectorLevel { Plain, Avx2, Avx512 };

inline std::atomic<VectorLevel> vectorLevelLimit{VectorLevel::Avx512};

inline VectorLevel vectorLevel() {
    return vectorLevelLimit.load(std::memory_order_relaxed);
}

// Sets the limit for the whole process and returns the one before.
inline VectorLevel limitVectorLevel(VectorLevel level) {
    return vectorLevelLimit.exchange(level);
}
