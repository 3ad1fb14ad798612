#pragma once

#include <cstdint>
#include <vector>

namespace Drive::Simulation {

/// A stream of numbers that depends on its seed alone, on every machine. Not for several threads at once: in a run the
/// baton sees to that.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state(seed * 0x9e3779b97f4a7c15ULL + 0x632be59bd9b4e019ULL) {}

    std::uint64_t Next() {
        state += 0x9e3779b97f4a7c15ULL;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ULL;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebULL;
        return mixed ^ (mixed >> 31);
    }

    /// Below `bound`, which is above 0.
    std::int64_t Below(std::int64_t bound) {
        return static_cast<std::int64_t>(Next() % static_cast<std::uint64_t>(bound));
    }
    /// Both ends included.
    std::int64_t Between(std::int64_t low, std::int64_t high) { return low + Below(high - low + 1); }
    /// True once in `n` times; never for 0.
    bool OneOf(int n) { return n > 0 && Below(n) == 0; }

    template <class Value>
    Value Pick(const std::vector<Value>& values) {
        return values[static_cast<std::size_t>(Below(static_cast<std::int64_t>(values.size())))];
    }

private:
    std::uint64_t state;
};

}  // namespace Drive::Simulation
