#include "doctor/metrics_page.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>
#include <stdexcept>

namespace doctor {

namespace {

/// One line of the text format: name, labels, value.
struct sample
{
    std::string name;
    std::map<std::string, std::string> labels;
    std::string value;
};

/// Reads `name="value"` pairs up to the closing brace. Returns the place behind it; npos for another form.
std::size_t read_labels(const std::string& line, std::size_t place, std::map<std::string, std::string>& labels)
{
    while (place < line.size() && line[place] != '}') {
        const std::size_t equals = line.find("=\"", place);
        if (equals == std::string::npos) {
            return std::string::npos;
        }
        std::string& value = labels[line.substr(place, equals - place)];
        for (place = equals + 2; place < line.size() && line[place] != '"'; ++place) {
            if (line[place] == '\\' && place + 1 < line.size()) {
                ++place;
                value += line[place] == 'n' ? '\n' : line[place];
            } else {
                value += line[place];
            }
        }
        place = line.find_first_not_of(',', place + 1);
    }
    return place < line.size() ? place + 1 : std::string::npos;
}

std::optional<sample> read_sample(const std::string& line)
{
    if (line.empty() || line.front() == '#') {
        return {};
    }
    sample read;
    const std::size_t end = line.find_first_of("{ ");
    if (end == std::string::npos) {
        return {};
    }
    read.name = line.substr(0, end);
    std::size_t place = end;
    if (line[end] == '{') {
        place = read_labels(line, end + 1, read.labels);
    }
    if (place == std::string::npos || place >= line.size() || line[place] != ' ') {
        return {};
    }
    read.value = line.substr(place + 1);
    return read;
}

std::optional<std::int64_t> number_in(const std::string& text)
{
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Adds what one line contains about an engine.
void add_to(std::vector<engine_figures>& engines, const sample& read)
{
    const auto name = read.labels.find("engine");
    const auto number = read.labels.find("number");
    if (name == read.labels.end() || number == read.labels.end()) {
        return;
    }
    auto found = std::find_if(engines.begin(), engines.end(),
                              [&](const engine_figures& one) { return one.number == number->second; });
    if (found == engines.end()) {
        found = engines.insert(engines.end(), {name->second, number->second, false, {}, {}});
    }
    if (read.name == "postwarden_service_engine_up") {
        found->up = read.value == "1";
    } else if (read.name == "postwarden_service_engine_info") {
        const auto version = read.labels.find("version");
        found->version = version == read.labels.end() ? std::string() : version->second;
    } else if (read.name == "postwarden_service_engine_signatures_timestamp_seconds") {
        found->signatures = number_in(read.value);
    }
}

} // namespace

std::vector<engine_figures> engines_in(std::string_view answer)
{
    const std::size_t end_of_head = answer.find("\r\n\r\n");
    if (!answer.starts_with("HTTP/1.") ||
        answer.substr(0, answer.find("\r\n")).find(" 200") == std::string_view::npos ||
        end_of_head == std::string_view::npos) {
        throw std::runtime_error("the port of the metrics gives another answer");
    }
    std::vector<engine_figures> engines;
    std::istringstream input{std::string(answer.substr(end_of_head))};
    for (std::string line; std::getline(input, line);) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (const auto read = read_sample(line)) {
            add_to(engines, *read);
        }
    }
    return engines;
}

} // namespace doctor
