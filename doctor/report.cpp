#include "doctor/report.h"

#include "desk/run/console.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace doctor {

namespace {

constexpr std::array<std::string_view, 4> words{"not applicable", "ok", "warning", "failed"};
constexpr std::array<std::string_view, 4> json_words{"not_applicable", "ok", "warning", "failed"};
constexpr std::size_t state_columns = 14; // of the longest word
constexpr std::size_t narrowest = 20;

/// Returns the lines of a text that is broken at blanks. A word that is too long has a line of its own.
std::vector<std::string> broken(const std::string& text, std::size_t columns)
{
    std::vector<std::string> lines;
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t end = std::min(text.find(' ', place), text.size());
        const std::string word = text.substr(place, end - place);
        place = end + 1;
        if (!lines.empty() && host::columns_of(lines.back()) + 1 + host::columns_of(word) <= columns) {
            lines.back().append(" ").append(word);
        } else {
            lines.push_back(word);
        }
    }
    return lines;
}

} // namespace

std::string_view state_words(row_state state)
{
    return words.at(static_cast<std::size_t>(state));
}

row_state worst_of(const std::vector<row>& rows)
{
    row_state worst = row_state::ok;
    for (const row& one : rows) {
        worst = std::max(worst, one.result.state);
    }
    return worst;
}

int status_of(const std::vector<row>& rows)
{
    if (rows.empty()) {
        return status_unknown;
    }
    switch (worst_of(rows)) {
    case row_state::failed:
        return status_failed;
    case row_state::warning:
        return status_warning;
    default:
        return status_ok;
    }
}

std::string table_text(const std::vector<row>& rows, std::size_t width)
{
    std::size_t name_columns = std::string_view("ROW").size();
    for (const row& one : rows) {
        name_columns = std::max(name_columns, one.name.size());
    }
    const std::size_t indent = name_columns + state_columns + 2;
    const std::size_t columns = std::max(width > indent ? width - indent : 0, narrowest);
    std::string text = host::fitted("ROW", name_columns) + ' ' + host::fitted("STATE", state_columns) + " FOUND\n";
    for (const row& one : rows) {
        std::string head = host::fitted(one.name, name_columns) + ' ' +
                           host::fitted(state_words(one.result.state), state_columns) + ' ';
        std::vector<std::string> lines = broken(host::printable(one.result.found), columns);
        if (!one.result.remedy.empty()) {
            const auto remedy = broken("To do: " + host::printable(one.result.remedy), columns);
            lines.insert(lines.end(), remedy.begin(), remedy.end());
        }
        for (const std::string& line : lines) {
            text.append(head).append(line).append("\n");
            head.assign(indent, ' ');
        }
    }
    return text;
}

std::string json_text(const std::vector<row>& rows)
{
    nlohmann::ordered_json result;
    result["state"] = json_words.at(static_cast<std::size_t>(worst_of(rows)));
    result["exit_status"] = status_of(rows);
    result["rows"] = nlohmann::ordered_json::array();
    for (const row& one : rows) {
        nlohmann::ordered_json line;
        line["name"] = one.name;
        line["state"] = json_words.at(static_cast<std::size_t>(one.result.state));
        line["found"] = one.result.found;
        line["remedy"] = one.result.remedy;
        line["elapsed_ms"] = one.elapsed_ms;
        result["rows"].push_back(std::move(line));
    }
    return result.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

} // namespace doctor
