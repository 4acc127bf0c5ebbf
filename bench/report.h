// The table of figures, on the screen and as JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

/// One line: what was measured, what it is compared with, and the target.
struct Row {
    std::string name;
    double value = 0;
    std::string unit;
    std::optional<double> baseline;  ///< in the same unit
    /// Value by baseline, the median over interleaved rounds.
    std::optional<double> ratio;
    std::optional<double> target;  ///< upper bound of the ratio, or of the value where there is no ratio

    std::optional<bool> met() const;
};

void print_table(const std::vector<Row>& rows);
/// Throws std::runtime_error when the file cannot be written.
void write_json(const std::vector<Row>& rows, const std::string& path);

}  // namespace bench
