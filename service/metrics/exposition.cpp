#include "service/metrics/exposition.h"

#include <array>
#include <string_view>
#include <utility>

namespace service {

namespace {

constexpr std::array<std::string_view, request_kinds> kind_names{"options", "reqmod", "respmod", "health", "unknown"};
constexpr std::array<std::string_view, request_results> result_names{"answered",  "clean",   "blocked",  "repaired",
                                                                     "unchecked", "error",   "timeout",  "bad_request",
                                                                     "not_found", "refused", "abandoned"};

/// Writes metrics, each with its heading.
class writer
{
public:
    void begin(std::string_view name, std::string_view type, std::string_view help)
    {
        name_.assign("postwarden_service_").append(name);
        text_.append("# HELP ").append(name_).append(" ").append(help).append("\n");
        text_.append("# TYPE ").append(name_).append(" ").append(type).append("\n");
    }
    void sample(std::string_view suffix, std::string_view labels, std::string_view value)
    {
        text_.append(name_).append(suffix);
        if (!labels.empty()) {
            text_.append("{").append(labels).append("}");
        }
        text_.append(" ").append(value).append("\n");
    }
    template <typename Number>
    void single(std::string_view name, std::string_view type, std::string_view help, Number value)
    {
        begin(name, type, help);
        sample("", "", std::to_string(value));
    }
    void add(std::string_view name, std::string_view help, const counter& value)
    {
        single(name, "counter", help, value.value());
    }
    void add(std::string_view name, std::string_view help, const histogram& value);
    [[nodiscard]] std::string take() { return std::move(text_); }

private:
    std::string name_;
    std::string text_;
};

/// Returns a number of units, of which 10 to the power of `digits` are one second, in seconds.
std::string seconds_text(std::uint64_t units, int digits)
{
    std::string text = std::to_string(units);
    const auto behind = static_cast<std::size_t>(digits);
    if (text.size() <= behind) {
        text.insert(0, behind + 1 - text.size(), '0');
    }
    text.insert(text.size() - behind, ".");
    text.erase(text.find_last_not_of('0') + 1);
    return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
}

void writer::add(std::string_view name, std::string_view help, const histogram& value)
{
    constexpr int milli = 3;
    constexpr int nano = 9;
    begin(name, "histogram", help);
    const auto buckets = value.buckets(); // once, so that the samples agree with each other
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < buckets.size(); ++i) {
        count += buckets[i];
        const bool bounded = i < histogram::bounds.size();
        const std::string bound = bounded ? seconds_text(histogram::bounds[i], milli) : "+Inf";
        sample("_bucket", "le=\"" + bound + "\"", std::to_string(count));
    }
    sample("_sum", "", seconds_text(value.nanoseconds(), nano));
    sample("_count", "", std::to_string(count));
}

std::string label(std::string_view name, std::string_view value)
{
    std::string text(name);
    text.append("=\"");
    for (const char byte : value) {
        switch (byte) {
        case '\\':
            text.append("\\\\");
            break;
        case '"':
            text.append("\\\"");
            break;
        case '\n':
            text.append("\\n");
            break;
        default:
            text += byte;
        }
    }
    return text.append("\"");
}

void add_requests(writer& out, const service_metrics& metrics)
{
    out.begin("requests_total", "counter", "Requests by kind and result.");
    for (std::size_t kind = 0; kind < request_kinds; ++kind) {
        for (std::size_t result = 0; result < request_results; ++result) {
            const std::string labels = label("kind", kind_names[kind]) + "," + label("result", result_names[result]);
            out.sample("", labels, std::to_string(metrics.requests[kind][result].value()));
        }
    }
}

std::string engine_labels(const std::vector<engine_part>& engines, std::size_t place)
{
    return label("engine", engines[place].name) + "," + label("number", std::to_string(place + 1));
}

void add_engines(writer& out, const std::vector<engine_part>& engines)
{
    out.begin("engine_up", "gauge", "Whether the engine could judge at its last probe.");
    for (std::size_t i = 0; i < engines.size(); ++i) {
        out.sample("", engine_labels(engines, i), engines[i].works ? "1" : "0");
    }
    out.begin("engine_info", "gauge", "1 for the version that the engine reported last.");
    for (std::size_t i = 0; i < engines.size(); ++i) {
        if (const std::string& version = engines[i].version.text; !version.empty()) {
            out.sample("", engine_labels(engines, i) + "," + label("version", version), "1");
        }
    }
    out.begin("engine_signatures_timestamp_seconds", "gauge", "When the signatures of the engine were made.");
    for (std::size_t i = 0; i < engines.size(); ++i) {
        if (const auto made = engines[i].version.signatures) {
            out.sample("", engine_labels(engines, i), std::to_string(*made));
        }
    }
}

} // namespace

std::string exposition(const service_metrics& metrics, const service_figures& figures)
{
    writer out;
    add_requests(out, metrics);
    out.add("scan_wait_seconds", "Time from the end of a request to the begin of its scan.", metrics.waiting);
    out.add("scan_seconds", "Time of a scan.", metrics.scanning);
    out.single("scans_waiting", "gauge", "Objects that wait for a thread.", figures.scans_waiting);
    out.single("scans_running", "gauge", "Objects that are being judged.", figures.scans_running);
    out.add("received_bytes_total", "Bytes received from peers.", metrics.bytes_received);
    out.add("sent_bytes_total", "Bytes sent to peers.", metrics.bytes_sent);
    out.single("connections", "gauge", "Open connections.", figures.connections);
    out.add("connections_accepted_total", "Connections that were served.", metrics.connections_accepted);
    out.add("connections_refused_total", "Connections that were refused.", metrics.connections_refused);
    out.add("connections_evicted_total", "Connections that were closed to make room.", metrics.connections_evicted);
    add_engines(out, figures.engines);
    out.add("istag_changes_total", "Changes of the ISTag.", metrics.istag_changes);
    out.begin("reloads_total", "counter", "Attempts to read the configuration again.");
    out.sample("", label("result", "applied"), std::to_string(metrics.reloads_applied.value()));
    out.sample("", label("result", "rejected"), std::to_string(metrics.reloads_rejected.value()));
    out.single("cache_hits_total", "counter", "Objects whose verdict was known.", figures.cache_hits);
    out.single("cache_misses_total", "counter", "Objects whose verdict was looked up in vain.", figures.cache_misses);
    out.single("cache_entries", "gauge", "Verdicts that are known.", figures.cache_entries);
    out.single("body_bytes", "gauge", "Bytes of bodies that are held at present.", figures.body_bytes);
    return out.take();
}

} // namespace service
