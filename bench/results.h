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
    // Prints one row of the table, its name in the first cell, and keeps each number.
    void row(const std::string& name, const std::vector<double>& values);
    // A line of explanation under the table.
    void note(const std::string& text);
    // Writes every number as JSON; throws std::runtime_error when the file cannot be written.
    void write(const std::string& path) const;

  private:
    struct figure {
        std::string table;
        std::string row;
        std::string column;
        double value;
    };

    std::string table_;
    std::vector<std::string> columns_;
    std::vector<figure> figures_;
};

}  // namespace bench
