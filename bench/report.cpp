#include "bench/report.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

std::string number(const char* format, const std::optional<double>& value) {
    if (!value) return "-";
    char text[64];
    std::snprintf(text, sizeof text, format, *value);
    return text;
}

std::string verdict(const Row& row) {
    const auto met = row.met();
    if (!met) return "";
    return *met ? "met" : "MISSED";
}

std::string json_number(const std::optional<double>& value) {
    return value ? number("%.6g", value) : "null";
}

}  // namespace

std::optional<bool> Row::met() const {
    if (!target) return std::nullopt;
    return (ratio ? *ratio : value) <= *target;
}

void print_table(const std::vector<Row>& rows) {
    std::printf("%-52s %12s %-4s %12s %8s %8s\n", "", "median", "", "against", "ratio", "target");
    for (const Row& row : rows) {
        std::printf("%-52s %12s %-4s %12s %8s %8s  %s\n", row.name.c_str(), number("%.2f", row.value).c_str(),
                    row.unit.c_str(), number("%.2f", row.baseline).c_str(), number("%.3f", row.ratio).c_str(),
                    row.target ? ("<= " + number("%g", row.target)).c_str() : "", verdict(row).c_str());
    }
}

void write_json(const std::vector<Row>& rows, const std::string& path) {
    std::ofstream out(path);
    out << "[";
    const char* separator = "\n";
    for (const Row& row : rows) {
        const auto met = row.met();
        out << separator << R"(  {"name": ")" << row.name << R"(", "median": )" << json_number(row.value)
            << R"(, "unit": ")" << row.unit << R"(", "against": )" << json_number(row.baseline)
            << R"(, "ratio": )" << json_number(row.ratio) << R"(, "target": )" << json_number(row.target)
            << R"(, "met": )" << (met ? (*met ? "true" : "false") : "null") << "}";
        separator = ",\n";
    }
    out << "\n]\n";
    if (!out.flush()) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace bench
