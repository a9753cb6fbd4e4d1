#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace harrowmint::test {

/// Reproducible randomness: the same seed gives the same throws everywhere.
class Dice {
public:
    explicit Dice(std::uint64_t seed)
        : m_engine(seed)
    {
    }

    /// 0 to `end` − 1.
    int below(int end) { return static_cast<int>(m_engine() % static_cast<std::uint64_t>(end)); }
    /// `first` to `last`.
    int between(int first, int last) { return first + below(last - first + 1); }
    bool percent(int chance) { return below(100) < chance; }
    /// Often nothing, often a little, sometimes most of a job's time.
    std::chrono::nanoseconds time()
    {
        using namespace std::chrono_literals;
        switch (below(8)) {
        case 0:
        case 1:
            return 0ms;
        case 2:
            return 1ms;
        case 3:
        case 4:
            return std::chrono::milliseconds(below(60));
        case 5:
        case 6:
            return std::chrono::milliseconds(below(6'000));
        default:
            return std::chrono::milliseconds(below(60'000));
        }
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace harrowmint::test
