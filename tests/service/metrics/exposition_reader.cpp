#include "tests/service/metrics/exposition_reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace test {

namespace {

void require(bool condition, std::string_view what, std::string_view where)
{
    if (!condition) {
        throw std::runtime_error(std::string(what) + ": " + std::string(where));
    }
}

} // namespace

std::map<std::string, double> exposition_reader::read(std::string_view text)
{
    exposition_reader reader;
    require(text.ends_with('\n'), "the last line has no end",
            text.substr(text.size() - std::min<std::size_t>(text.size(), 80)));
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end + 1);
        require(!line.empty() && line.find_first_of("\r\t") == std::string_view::npos,
                "a line is blank or has controls", line);
        if (line.starts_with("# HELP ")) {
            reader.heading(line.substr(7), "HELP");
        } else if (line.starts_with("# TYPE ")) {
            reader.heading(line.substr(7), "TYPE");
        } else {
            reader.sample(line);
        }
    }
    reader.end_family();
    return std::move(reader.values_);
}

void exposition_reader::heading(std::string_view line, std::string_view keyword)
{
    std::string_view rest = line;
    const std::string name = take_name(rest, true);
    require(rest.starts_with(' ') && rest.size() > 1, "a heading is empty", line);
    rest.remove_prefix(1);
    if (keyword == "HELP") {
        end_family();
        require(families_.emplace(name, "").second, "a family occurs twice", line);
        for (std::size_t i = rest.find('\\'); i != std::string_view::npos; i = rest.find('\\', i + 2)) {
            require(i + 1 < rest.size() && (rest[i + 1] == '\\' || rest[i + 1] == 'n'), "a wrong escape", line);
        }
        name_ = name;
        return;
    }
    require(name == name_ && type_.empty(), "a type is not behind its help", line);
    require(rest == "counter" || rest == "gauge" || rest == "histogram", "an unknown type", line);
    require((rest == "counter") == name.ends_with("_total"), "a name does not fit its type", line);
    type_ = rest;
}

void exposition_reader::sample(std::string_view line)
{
    std::string_view rest = line;
    const std::string name = take_name(rest, true);
    const labels found = take_labels(rest);
    require(rest.starts_with(' '), "no blank before the value", line);
    const double value = number(rest.substr(1));
    require(!type_.empty() && name.starts_with(name_), "a sample outside of its family", line);
    std::string series = name;
    for (const auto& [label, text] : found) {
        series.append(&label == &found.front().first ? "{" : ",").append(label).append("=\"").append(text).append("\"");
    }
    series.append(found.empty() ? "" : "}");
    require(values_.emplace(series, value).second, "a series occurs twice", line);
    const std::string suffix = name.substr(name_.size());
    if (type_ == "histogram") {
        histogram_sample(suffix, found, value);
    } else {
        require(suffix.empty(), "a sample outside of its family", line);
        require(type_ != "counter" || value >= 0, "a counter is negative", line);
    }
}

/// The histograms here have no labels but that of their buckets.
void exposition_reader::histogram_sample(const std::string& suffix, const labels& found, double value)
{
    if (suffix == "_bucket") {
        require(found.size() == 1 && found.front().first == "le" && !has_sum_ && count_ < 0, "a wrong bucket", name_);
        const std::string& text = found.front().second;
        const double bound = text == "+Inf" ? std::numeric_limits<double>::infinity() : number(text);
        require(bounds_.empty() || bound > bounds_.back(), "the buckets do not ascend", name_);
        require(value >= last_bucket_, "the buckets do not accumulate", name_);
        bounds_.push_back(bound);
        last_bucket_ = value;
    } else if (suffix == "_sum") {
        require(found.empty() && !has_sum_ && value >= 0, "a wrong sum", name_);
        has_sum_ = true;
    } else {
        require(suffix == "_count" && found.empty() && count_ < 0, "a wrong sample of a histogram", name_ + suffix);
        count_ = value;
    }
}

void exposition_reader::end_family()
{
    require(name_.empty() || !type_.empty(), "a family has no type", name_);
    if (type_ == "histogram") {
        require(!bounds_.empty() && std::isinf(bounds_.back()), "the last bucket has a bound", name_);
        require(has_sum_ && count_ == last_bucket_, "the count is not that of the buckets", name_);
    }
    name_.clear();
    type_.clear();
    bounds_.clear();
    last_bucket_ = 0;
    has_sum_ = false;
    count_ = -1;
}

std::string exposition_reader::take_name(std::string_view& line, bool with_colon)
{
    std::size_t size = 0;
    while (size < line.size() &&
           ((line[size] >= 'a' && line[size] <= 'z') || (line[size] >= 'A' && line[size] <= 'Z') || line[size] == '_' ||
            (with_colon && line[size] == ':') || (size != 0 && line[size] >= '0' && line[size] <= '9'))) {
        ++size;
    }
    require(size != 0, "no name", line);
    std::string name(line.substr(0, size));
    line.remove_prefix(size);
    return name;
}

exposition_reader::labels exposition_reader::take_labels(std::string_view& line)
{
    labels found;
    if (!line.starts_with('{')) {
        return found;
    }
    do {
        line.remove_prefix(1);
        std::string name = take_name(line, false);
        require(line.starts_with("=\""), "no value of a label", line);
        line.remove_prefix(2);
        std::string value;
        for (; !line.starts_with('"'); line.remove_prefix(1)) {
            require(!line.empty(), "a label is not closed", name);
            if (line.front() == '\\') {
                line.remove_prefix(1);
                require(!line.empty() && std::string_view("\\\"n").find(line.front()) != std::string_view::npos,
                        "a wrong escape", name);
                value += line.front() == 'n' ? '\n' : line.front();
            } else {
                value += line.front();
            }
        }
        line.remove_prefix(1);
        const bool twice = std::any_of(found.begin(), found.end(), [&](const auto& one) { return one.first == name; });
        require(!twice, "a label occurs twice", name);
        found.emplace_back(std::move(name), std::move(value));
    } while (line.starts_with(','));
    require(line.starts_with('}'), "the labels are not closed", line);
    line.remove_prefix(1);
    return found;
}

double exposition_reader::number(std::string_view text)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    require(error == std::errc{} && end == text.data() + text.size(), "no number", text);
    return value;
}

} // namespace test
