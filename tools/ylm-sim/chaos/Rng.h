// The chaos driver's random numbers: splitmix64, with its own ranges, so that a seed gives the
// same run with every compiler and C++ runtime (the standard distributions differ between them).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace ylmsim::chaos {

class Rng {
  public:
    explicit Rng(uint64_t seed) : state(seed) {}

    uint64_t next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    // 0 to n - 1 (0 when n is 0).
    uint64_t below(uint64_t n) { return n == 0 ? 0 : next() % n; }
    int64_t range(int64_t lo, int64_t hi) {
        return lo + static_cast<int64_t>(below(static_cast<uint64_t>(hi - lo) + 1));
    }
    // True with the given chance in percent.
    bool percent(unsigned p) { return below(100) < p; }
    template <class T>
    const T& pick(const std::vector<T>& items) {
        return items[below(items.size())];
    }
    template <class T>
    T pick(std::initializer_list<T> items) {
        return items.begin()[below(items.size())];
    }
    std::string bytes(size_t n) {
        std::string out(n, '\0');
        for (auto& c : out) {
            c = static_cast<char>(next() & 0xFF);
        }
        return out;
    }

  private:
    uint64_t state;
};

}  // namespace ylmsim::chaos
