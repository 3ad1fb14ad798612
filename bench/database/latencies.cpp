#include "bench/database/latencies.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace Drive::Bench {

double Latencies::Percentile(double share) const {
    if (milliseconds.empty()) return 0;
    std::vector<double> sorted = milliseconds;
    std::sort(sorted.begin(), sorted.end());
    const auto index = static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1) + 0.5);
    return sorted[index];
}

std::string Latencies::Json() const {
    char text[300];
    std::snprintf(text, sizeof text, R"("name":"%s","count":%zu,"median_ms":%.4f,"p99_ms":%.4f,"max_ms":%.4f)",
                  name.c_str(), milliseconds.size(), Percentile(0.5), Percentile(0.99), Percentile(1));
    return text;
}

Latencies Measure(const std::string& name, int rounds, const std::function<void(int)>& body) {
    Latencies result{name, {}};
    result.milliseconds.reserve(static_cast<std::size_t>(rounds));
    for (int round = 0; round < rounds; ++round) {
        const auto begin = std::chrono::steady_clock::now();
        body(round);
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
        result.milliseconds.push_back(taken.count());
    }
    return result;
}

}  // namespace Drive::Bench
