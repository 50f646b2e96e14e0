#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// Reads metrics in the text format of Prometheus, more strictly than Prometheus does: each family has one HELP and one
/// TYPE line, in this order, followed by all its samples; nothing occurs twice; counters end with "_total"; the buckets
/// of a histogram ascend, and its last one equals its count.
class exposition_reader
{
public:
    /// Returns the values by their series, such as `name{label="value"}` without any escapes. Throws
    /// std::runtime_error.
    static std::map<std::string, double> read(std::string_view text);

private:
    using labels = std::vector<std::pair<std::string, std::string>>;

    void heading(std::string_view line, std::string_view keyword);
    void sample(std::string_view line);
    void histogram_sample(const std::string& suffix, const labels& found, double value);
    void end_family();
    static std::string take_name(std::string_view& line, bool with_colon);
    static labels take_labels(std::string_view& line);
    static double number(std::string_view text);

    std::map<std::string, double> values_;
    std::map<std::string, std::string> families_; ///< types by names
    std::string name_;                            ///< of the family that is being read
    std::string type_;
    std::vector<double> bounds_; ///< of a histogram
    double last_bucket_ = 0;
    bool has_sum_ = false;
    double count_ = -1;
};

} // namespace test
