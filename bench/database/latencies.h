#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Drive::Bench {

/// Times of one operation, in milliseconds: by the clock, and of the processor on the calling thread, which says what
/// the operation costs where others want the processor as well.
struct Latencies {
    std::string name;
    std::vector<double> milliseconds;
    std::vector<double> processor;

    void Add(const Latencies& more);
    double Percentile(double share) const;
    /// The members "name", "count", "median_ms", "p99_ms", "max_ms", "processor_median_ms" and "processor_p99_ms" of a
    /// JSON object, without its braces.
    std::string Json() const;
};

/// Runs the body that many times, each with its number, and times each run.
Latencies Measure(const std::string& name, int rounds, const std::function<void(int)>& body);

}  // namespace Drive::Bench
