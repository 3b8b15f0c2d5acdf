// Times several ways to do the same by turns, so that a drift of the machine meets all of them.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kor_bench {

/// Nanoseconds of one call, over the rounds.
struct Spent {
    double least = 0.0;
    double median = 0.0;
};

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

inline double nanosecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// Times each side by turns.
/// Given     sides   each makes `calls` calls
///           calls   of one turn
///           rounds  turns of each side that count; one more before them warms caches up
inline std::vector<Spent> timeByTurns(const std::vector<std::function<void()>>& sides, std::size_t calls, int rounds)
{
    std::vector<std::vector<double>> times(sides.size());
    for (int round = 0; round <= rounds; ++round) {
        for (std::size_t side = 0; side < sides.size(); ++side) {
            const auto start = std::chrono::steady_clock::now();
            sides[side]();
            if (round > 0) {
                times[side].push_back(nanosecondsSince(start) / static_cast<double>(calls));
            }
        }
    }
    std::vector<Spent> spent;
    spent.reserve(times.size());
    for (const std::vector<double>& one : times) {
        spent.push_back({*std::min_element(one.begin(), one.end()), median(one)});
    }
    return spent;
}

/// Keeps a value from being optimised away, and with it the work that made it.
template <typename T>
inline void keep(const T& value)
{
    asm volatile("" : : "m"(value) : "memory");
}

/// "NAME: least median" as the member of a JSON object.
inline std::string jsonOf(const std::string& name, const Spent& spent)
{
    return "\"" + name + "\": [" + std::to_string(spent.least) + ", " + std::to_string(spent.median) + "]";
}

} // namespace kor_bench
