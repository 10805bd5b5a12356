#pragma once

#include <cstdint>

namespace alidade {

/// A stream of numbers that its key alone decides, the same on every platform. Streams of different keys are
/// independent of each other. Reentrant.
class CSceneRandom {
public:
    explicit CSceneRandom(std::uint64_t key) : m_state(key) {}
    /// A key made of a seed and two numbers.
    CSceneRandom(std::uint64_t seed, std::uint64_t a, std::uint64_t b) : m_state(Mix(Mix(Mix(seed) ^ a) ^ b))
    {
    }

    std::uint64_t Next()
    {
        m_state += kStep;
        return Mix(m_state);
    }
    /// At least 0 and below 1.
    double Uniform() { return static_cast<double>(Next() >> 11) * 0x1p-53; }
    double Uniform(double low, double high) { return low + (high - low) * Uniform(); }

private:
    static constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;
    /// Every bit of the result depends on every bit of the argument (splitmix64's finisher).
    static std::uint64_t Mix(std::uint64_t value)
    {
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
        return value ^ (value >> 31);
    }

    std::uint64_t m_state;
};

} // namespace alidade
