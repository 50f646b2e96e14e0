#include "service/reply_maker.h"

#include "service/request_reader.h"
#include "service/safe_text.h"
#include "tool/http/analyzer.h"
#include "tool/http/messages.h"
#include "tool/web/body_store.h"

#include <stdexcept>
#include <utility>

namespace service {

namespace {

constexpr std::uint32_t ok = 200;
constexpr std::uint32_t created = 201;
constexpr std::uint32_t no_content = 204;
constexpr std::string_view content_length = "Content-Length";

template <typename... Verdicts>
struct overloaded : Verdicts...
{
    using Verdicts::operator()...;
};
template <typename... Verdicts>
overloaded(Verdicts...) -> overloaded<Verdicts...>;

/// Makes an HTTP response without a body. The caller sets the body.
std::unique_ptr<http::message> http_reply(std::string_view content_type)
{
    std::string head = "HTTP/1.1 200 OK\r\nContent-Type: ";
    head.append(content_type).append("\r\nContent-Length: 0\r\n\r\n");
    http::analyzer analyzer;
    analyzer.enqueue(head.data(), head.data() + head.size());
    auto made = analyzer.extract();
    if (!made) {
        throw std::logic_error("the head of a reply is not understood");
    }
    return made;
}

void add_infection(icap::response_message& reply, std::string_view threat, std::uint32_t flags)
{
    icap::scan_record record;
    record.name = threat_name(threat);
    record.flags = flags;
    reply.headers().set("X-Infection-Found", icap::format_infection(record));
}

/// A reply is sent only if its object is complete. An object whose head specifies no length, or a length larger than
/// the data received, never becomes complete: its length is set to its actual size. So is that of an object that got
/// its framing here. The length of a body that is not part of the message, such as that of an answer to HEAD, is kept.
void settle_length(http::message& object, const request_reader& reader)
{
    http::message_headers& headers = object.headers();
    const auto announced = headers.get(content_length);
    if (reader.framing_added()) {
        headers.remove("Transfer-Encoding");
    } else if (object.complete()) {
        return;
    }
    headers.set(content_length, std::to_string(object.body_size()));
    object.update_length();
    if (!reader.has_body() && announced) {
        headers.set(content_length, std::string_view(announced->data(), announced->size()));
    }
}

std::string text_of(const std::unique_ptr<http::byte_vector>& value)
{
    return value ? std::string(value->begin(), value->end()) : std::string();
}

} // namespace

reply_maker::reply_maker(std::uint32_t preview, notice_template page)
    : page_(std::move(page))
{
    options_.service_name = "postwarden-service";
    options_.preview = std::to_string(preview);
    options_.methods = {"REQMOD", "RESPMOD"};
    options_.allow = {"204"};
    options_.transfer_preview = {"*"};
}

reply_maker::reply reply_maker::options(const std::string& istag) const
{
    return icap::make_options_response(istag, options_);
}

reply_maker::message reply_maker::bare(const std::string& istag, std::uint32_t status, bool close) const
{
    return icap::make_empty_response(istag.c_str(), status, options_, close);
}

reply_maker::reply reply_maker::judged(const std::string& istag, request_reader& reader, verdict outcome,
                                       const std::string& object_name) const
{
    return std::visit(overloaded{
                          [&](clean_verdict&&) { return clean(istag, reader); },
                          [&](blocked_verdict&& found) { return blocked(istag, found.threat, object_name); },
                          [&](repaired_verdict&& found) { return repaired(istag, reader, std::move(found)); },
                          [&](unchecked_verdict&&) { return clean(istag, reader); },
                          [&](error_verdict&&) { return reply(bare(istag, server_error)); },
                      },
                      std::move(outcome));
}

reply_maker::reply reply_maker::clean(const std::string& istag, request_reader& reader) const
{
    icap::request_message& request = *reader.request();
    if (reader.allows_204() || reader.only_preview()) {
        return reply(no_content_->get(istag, [&] { return whole_no_content(istag); }));
    }
    auto made = bare(istag, ok);
    const bool respmod = request.method() == icap::request_method::respmod;
    auto object = request.release_encapsulated(respmod ? http::type_response : http::type_request);
    settle_length(*object, reader);
    made->set_encapsulated(std::move(object));
    return made;
}

std::string reply_maker::whole_no_content(const std::string& istag) const
{
    const auto made = bare(istag, no_content);
    const auto& head = made->raw_head();
    return {head.begin(), head.end()};
}

reply_maker::reply reply_maker::blocked(const std::string& istag, const std::string& threat,
                                        const std::string& object_name) const
{
    return notice_reply(istag, {cause::threat, threat, object_name}, threat, false);
}

reply_maker::reply reply_maker::withheld(const std::string& istag, cause why, const std::string& object_name,
                                         bool close) const
{
    return notice_reply(istag, {why, {}, object_name}, threat_of(why), close);
}

reply_maker::reply reply_maker::notice_reply(const std::string& istag, const notice& reported, std::string_view threat,
                                             bool close) const
{
    const std::string page = page_.page(reported);
    auto store = web::make_body_store(static_cast<std::uint32_t>(page.size()));
    store->append(page.data(), page.size());
    auto notice = http_reply("text/html; charset=utf-8");
    notice->set_body(std::move(store));
    auto made = bare(istag, ok, close);
    add_infection(*made, threat, 0);
    made->set_encapsulated(std::move(notice));
    return made;
}

reply_maker::reply reply_maker::repaired(const std::string& istag, request_reader& reader,
                                         repaired_verdict outcome) const
{
    icap::request_message& request = *reader.request();
    std::unique_ptr<http::message> object;
    if (request.method() == icap::request_method::respmod) {
        object = request.release_encapsulated(http::type_response);
    } else {
        object = http_reply("application/octet-stream");
    }
    object->set_body(std::move(outcome.body));
    settle_length(*object, reader);
    auto made = bare(istag, created);
    add_infection(*made, outcome.threat, icap::scan_record::repaired);
    made->set_encapsulated(std::move(object));
    return made;
}

std::string object_name(request_reader& reader)
{
    icap::request_message& request = *reader.request();
    if (const auto name = from_base64(text_of(request.headers().get("X-Mail-Attach-Name"))); name && !name->empty()) {
        return *name;
    }
    if (request.headers().get("X-Mail-Type") || !request.has_request()) {
        return {};
    }
    const auto* inner = dynamic_cast<const http::request_message*>(&request.request());
    if (inner == nullptr) {
        return {};
    }
    const std::string_view uri = inner->record().uri;
    return std::string(uri.substr(uri.find_last_of('/') + 1));
}

} // namespace service
