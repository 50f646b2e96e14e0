#include "service/engine/icap_engine.h"

#include "service/engine/icap_answer.h"
#include "service/engine/icap_exchange.h"
#include "service/engine/whole_object_scan.h"

#include <algorithm>
#include <array>
#include <exception>
#include <stdexcept>
#include <utility>

namespace service {

namespace {

class no_body final : public icap_answer::body_receiver
{
public:
    void receive(std::string_view bytes) override
    {
        received_ += bytes.size();
        if (received_ > icap_exchange::most_discarded) {
            throw std::runtime_error("options: the answer is too long");
        }
    }

private:
    std::uint64_t received_ = 0;
};

/// Sends OPTIONS and reads the whole answer. Throws connection_lost if the connection ends ahead of it.
icap_answer options_answer(timed_stream& stream, const icap_url& url)
{
    const std::string request = "OPTIONS " + url.text() + " ICAP/1.0\r\nHost: " + url.authority() +
                                "\r\nUser-Agent: postwarden-service\r\n\r\n";
    icap_answer answer;
    no_body body;
    (void)stream.write(request); // a failure shows when the answer is read
    std::array<char, 4096> bytes;
    while (!answer.complete()) {
        const std::size_t count = stream.read_some(bytes.data(), bytes.size());
        if (count == 0 && !answer.begun()) {
            throw connection_lost("connection closed without an answer");
        }
        if (count == 0) {
            throw std::runtime_error("connection closed within the answer");
        }
        answer.feed({bytes.data(), count}, body);
    }
    return answer;
}

} // namespace

icap_engine::icap_engine(icap_url url, icap_engine_settings settings)
    : url_(std::move(url))
    , settings_(std::move(settings))
    , lookup_(url_.host, url_.port, settings_.query)
    , kept_(settings_.clock)
{}

std::string_view icap_engine::name() const noexcept
{
    return "icap";
}

std::unique_ptr<object_scan> icap_engine::begin(const object_info& info, stop_token stop)
{
    // The object is sent from its store, because it may have to be sent again.
    return std::make_unique<whole_object_scan>(
        [this, info, stop = std::move(stop)](web::io_data& object) { return judge(info, object, stop); });
}

/// Returns a new connection to the first address that accepts one.
std::unique_ptr<timed_stream> icap_engine::connected(const stop_token& stop, time_point deadline)
{
    std::exception_ptr last;
    for (const auto& address : lookup_.find(settings_.timeout, stop, deadline)) {
        auto stream = std::make_unique<timed_stream>(settings_.timeout, stop, deadline);
        try {
            stream->connect(address);
            return stream;
        } catch (const std::runtime_error&) {
            last = std::current_exception();
            if (stop.stop_requested()) {
                break;
            }
        }
    }
    std::rethrow_exception(last);
}

icap_options icap_engine::ask_options(const stop_token& stop, time_point deadline)
{
    auto stream = kept_.take(stop, deadline);
    std::optional<icap_answer> answer;
    if (stream) {
        try {
            answer = options_answer(*stream, url_);
        } catch (const connection_lost&) { // a kept connection may end at any time
        }
    }
    if (!answer) {
        stream = connected(stop, deadline);
        answer = options_answer(*stream, url_);
    }
    icap_options found = read_icap_options(answer->head());
    if (answer->keeps_connection()) {
        kept_.keep(std::move(stream));
    }
    limit_connections(found.connections);
    const auto ttl =
        found.ttl ? std::chrono::seconds(std::min<std::uint64_t>(*found.ttl, usual_ttl.count() * 24)) : usual_ttl;
    const std::lock_guard guard(lock_);
    options_ = found;
    options_end_ = settings_.clock() + ttl;
    tag_ = found.istag;
    return found;
}

void icap_engine::limit_connections(std::size_t count)
{
    scans_.resize(count > 1 ? count - 1 : count);
    kept_.limit(count == 0 ? kept_streams<timed_stream>::most : count);
    single_connection_ = count == 1;
}

icap_options icap_engine::current_options(const stop_token& stop)
{
    {
        const std::lock_guard guard(lock_);
        if (options_ && settings_.clock() < options_end_) {
            return *options_;
        }
    }
    return ask_options(stop, time_point::max());
}

verdict icap_engine::judge(const object_info& info, web::io_data& object, const stop_token& stop)
{
    const auto place = scans_.take(stop);
    const icap_options options = current_options(stop);
    const auto attempt = [&](std::unique_ptr<timed_stream> stream, bool may_repeat) -> std::optional<verdict> {
        icap_exchange exchange(*stream, url_, options.preview, info, object);
        try {
            verdict outcome = exchange.run();
            if (exchange.head() != nullptr) {
                note_tag(*exchange.head());
            }
            if (exchange.keeps_connection()) {
                kept_.keep(std::move(stream));
            }
            return outcome;
        } catch (const connection_lost&) {
            if (!may_repeat || exchange.answered()) {
                throw;
            }
            return std::nullopt;
        }
    };
    if (auto kept = kept_.take(stop)) {
        if (auto outcome = attempt(std::move(kept), true)) {
            return std::move(*outcome);
        }
    }
    return *attempt(connected(stop, time_point::max()), false);
}

/// A tag that differs may come with other options.
void icap_engine::note_tag(const icap_head& head)
{
    std::string tag = istag_of(head);
    const std::lock_guard guard(lock_);
    if (!tag.empty() && tag != tag_) {
        tag_ = std::move(tag);
        options_.reset();
    }
}

std::string icap_engine::identity(stop_token stop)
{
    return probe(std::move(stop)).identity;
}

engine_state icap_engine::probe(stop_token stop)
{
    // Unless there is a single connection, one of them is for probes.
    const bool shares = single_connection_;
    const auto place = shares ? scans_.take_free() : nullptr;
    const bool asks = place || !shares;
    std::string fault;
    if (asks) {
        try {
            ask_options(stop, std::chrono::steady_clock::now() + settings_.timeout);
        } catch (const std::exception& failure) {
            fault = failure.what();
        }
    }
    const std::lock_guard guard(lock_);
    if (asks) {
        fault_ = fault;
    }
    return {tag_.empty() ? url_.service : url_.service + " " + tag_, fault_, {}, {}, {tag_, {}}};
}

} // namespace service
