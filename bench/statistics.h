// Medians and means of what was measured.
#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace bench {

/// The median; 0 of nothing.
inline double median(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

/// The mean; 0 of nothing.
inline double mean(const std::vector<double>& values) {
    if (values.empty()) return 0;
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

}  // namespace bench
