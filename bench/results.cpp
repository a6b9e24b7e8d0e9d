#include "bench/results.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "harness/child_process.h"
#include "lab/json.h"

namespace bench {

double median(std::vector<double> values) { return percentile(std::move(values), 0.5); }

double percentile(std::vector<double> values, double share) {
    if (values.empty()) return std::nan("");
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(std::lround(share * last))];
}

std::string shown(double value) {
    char text[32];
    const int digits = std::abs(value) >= 100 ? 0 : std::abs(value) >= 10 ? 1 : 2;
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

void results::table(const std::string& title, const std::vector<std::string>& columns) {
    table_ = title;
    columns_ = columns;
    std::printf("\n%s\n%-28s", title.c_str(), "");
    for (const auto& column : columns) std::printf(" %14s", column.c_str());
    std::printf("\n");
}

void results::row(const std::string& name, const std::vector<double>& values) {
    std::printf("%-28s", name.c_str());
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::printf(" %14s", shown(values[i]).c_str());
        figures_.push_back({table_, name, columns_.at(i), values[i]});
    }
    std::printf("\n");
    std::fflush(stdout);
}

void results::note(const std::string& text) { std::printf("  %s\n", text.c_str()); }

void results::write(const std::string& path) const {
    lab::json list = lab::json::array();
    for (const auto& f : figures_) {
        lab::json row;
        row["table"] = f.table;
        row["row"] = f.row;
        row["column"] = f.column;
        row["value"] = f.value;
        list.push_back(row);
    }
    lab::write_file(path, list.dump(2) + "\n");
}

}  // namespace bench
