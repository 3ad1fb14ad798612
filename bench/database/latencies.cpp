#include "bench/database/latencies.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace Drive::Bench {

namespace {

double PercentileOf(std::vector<double> sorted, double share) {
    if (sorted.empty()) return 0;
    std::sort(sorted.begin(), sorted.end());
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1) + 0.5)];
}

double ProcessorMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

}  // namespace

void Latencies::Add(const Latencies& more) {
    milliseconds.insert(milliseconds.end(), more.milliseconds.begin(), more.milliseconds.end());
    processor.insert(processor.end(), more.processor.begin(), more.processor.end());
}

double Latencies::Percentile(double share) const { return PercentileOf(milliseconds, share); }

std::string Latencies::Json() const {
    char text[400];
    std::snprintf(text, sizeof text,
                  R"("name":"%s","count":%zu,"median_ms":%.4f,"p99_ms":%.4f,"max_ms":%.4f,)"
                  R"("processor_median_ms":%.4f,"processor_p99_ms":%.4f)",
                  name.c_str(), milliseconds.size(), Percentile(0.5), Percentile(0.99), Percentile(1),
                  PercentileOf(processor, 0.5), PercentileOf(processor, 0.99));
    return text;
}

Latencies Measure(const std::string& name, int rounds, const std::function<void(int)>& body) {
    Latencies result{name, {}, {}};
    result.milliseconds.reserve(static_cast<std::size_t>(rounds));
    result.processor.reserve(static_cast<std::size_t>(rounds));
    for (int round = 0; round < rounds; ++round) {
        const auto begin = std::chrono::steady_clock::now();
        const double before = ProcessorMilliseconds();
        body(round);
        result.processor.push_back(ProcessorMilliseconds() - before);
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
        result.milliseconds.push_back(taken.count());
    }
    return result;
}

}  // namespace Drive::Bench
