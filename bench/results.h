// Measured figures: printed as a table for a person, kept for a file that programs read.
#pragma once

#include <string>
#include <vector>

namespace bench {

// The median of the values.
double median(std::vector<double> values);
// The value below which `share` (0 to 1) of the values lie.
double percentile(std::vector<double> values, double share);

// A number with a sensible number of digits.
std::string shown(double value);

class results {
  public:
    // Begins a table: prints its title and the heads of its columns.
    void table(const std::string& title, const std::vector<std::string>& columns);
    // One row of it; the first cell is its name. Numbers are kept under table, row and column.
    void row(const std::string& name, const std::vector<double>& values);
    // A line of explanation under the table.
    void note(const std::string& text);
    // Writes everything as JSON; throws std::runtime_error when the file cannot be written.
    void write(const std::string& path) const;

  private:
    std::string table_;
    std::vector<std::string> columns_;
    std::vector<std::string> json_rows_;
};

}  // namespace bench
