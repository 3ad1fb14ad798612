#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Drive::Bench {

/// Times of one operation, in milliseconds.
struct Latencies {
    std::string name;
    std::vector<double> milliseconds;

    double Percentile(double share) const;
    /// The members "name", "count", "median_ms", "p99_ms" and "max_ms" of a JSON object, without its braces.
    std::string Json() const;
};

/// Runs the body that many times, each with its number, and times each run.
Latencies Measure(const std::string& name, int rounds, const std::function<void(int)>& body);

}  // namespace Drive::Bench
