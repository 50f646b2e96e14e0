#include "service/request_reader.h"

#include "service/bad_request.h"
#include "tool/http/messages.h"
#include "tool/icap/analyzer.h"
#include "tool/system/errors.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

namespace service {

namespace {

/// Bytes of blank lines that may come ahead of a request. More are the beginning of one.
constexpr std::size_t most_blank_bytes = 64;
/// Bytes of a first line that are parsed again as often as bytes arrive.
constexpr std::size_t short_line = 64;

constexpr std::string_view end_mark = "0\r\n\r\n";

bool is_line_end(std::string_view line)
{
    return line.substr(0, line.size() - 1).find_first_not_of('\r') == std::string_view::npos;
}

bool is_blank(std::string_view line)
{
    return is_line_end(line.substr(std::min(line.find_first_not_of(' '), line.size() - 1)));
}

} // namespace

request_reader::request_reader(const limits& bounds, bool end_mark_may_lead, scan_starter start_scan)
    : bounds_(bounds)
    , start_scan_(std::move(start_scan))
    , end_mark_may_lead_(end_mark_may_lead)
{}

request_reader::progress request_reader::read(std::string& inbox)
{
    try {
        return read_or_raise(inbox);
    } catch (const bad_request&) {
        throw;
    } catch (const error::win32exception& failure) {
        if (bounds_.budget == nullptr) {
            throw bad_request(failure.what(), 503); // an error of the store, not of the peer
        }
        bounds_.budget->report_failure(failure.what());
        throw bad_request(failure.what(), 503, 400);
    } catch (const std::bad_alloc&) {
        throw bad_request("out of memory", 500);
    } catch (const std::exception& failure) {
        throw bad_request(failure.what());
    }
}

request_reader::progress request_reader::read_or_raise(std::string& inbox)
{
    if (!head_ && (!drop_end_mark(inbox) || !read_head(inbox))) {
        return progress::need_more;
    }
    if (!heads_read_ && !read_encapsulated_heads(inbox)) {
        return progress::need_more;
    }
    if (head_->method == icap::request_method::options) {
        return progress::complete;
    }
    return read_body(inbox);
}

/// Returns false while more bytes are needed to decide.
bool request_reader::drop_end_mark(std::string& inbox)
{
    if (!end_mark_may_lead_) {
        return true;
    }
    if (inbox.size() < end_mark.size() && end_mark.starts_with(inbox)) {
        return false;
    }
    if (inbox.starts_with(end_mark)) {
        inbox.erase(0, end_mark.size());
    }
    end_mark_may_lead_ = false;
    return true;
}

/// Looks at each byte once, apart from the parse of a head that may be whole.
bool request_reader::read_head(std::string& inbox)
{
    drop_blank_lines(inbox);
    for (;;) {
        const std::size_t end = inbox.find('\n', std::max(searched_, line_begin_)) + 1;
        if (inbox.size() > longest_head && (end == 0 || end > longest_head)) {
            throw bad_request("the head is too long");
        }
        if (end == 0) {
            break;
        }
        const std::string_view line(inbox.data() + line_begin_, end - line_begin_);
        line_begin_ = end;
        ++lines_;
        // Only behind the first line can blanks be part of the line end that ends the head: elsewhere they continue the
        // line ahead of them.
        if (!is_line_end(line) && !(lines_ == 2 && is_blank(line))) {
            continue;
        }
        if (parse_head(inbox, end)) {
            return true;
        }
        if (is_line_end(line)) {
            throw bad_request("the head is not understood");
        }
    }
    searched_ = inbox.size();
    judge_first_line(inbox);
    return false;
}

/// Drops the blank lines ahead of the head. A few are no request, but a peer cannot send them without end.
void request_reader::drop_blank_lines(std::string& inbox)
{
    if (lines_ != 0) {
        return;
    }
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = inbox.find('\n', std::max(searched_, begin)) + 1;
        if (end == 0 || !is_blank(std::string_view(inbox.data() + begin, end - begin))) {
            break;
        }
        begin = end;
        searched_ = end;
    }
    inbox.erase(0, begin);
    searched_ -= std::min(searched_, begin);
    blanks_ -= std::min(blanks_, begin);
    blank_bytes_ += begin;
    if (blank_bytes_ > longest_head) {
        throw bad_request("the head is too long");
    }
}

/// Makes the request of a head that ends at `end`. Returns false if the grammar finds no whole head there.
bool request_reader::parse_head(std::string& inbox, std::size_t end)
{
    std::size_t size = 0;
    head_ = read_request_head(std::string_view(inbox).substr(0, end), size);
    if (!head_) {
        return false;
    }
    started_ = true;
    if (head_->preview.value_or(0) > bounds_.max_preview && head_->method != icap::request_method::options) {
        throw bad_request("the preview is too large");
    }
    inbox.erase(0, size);
    return true;
}

/// Rejects bytes that cannot begin a request without waiting for the peer to time out.
void request_reader::judge_first_line(const std::string& inbox)
{
    if (!begun_) {
        // Bytes that may still become a blank line do not begin a request.
        begun_ = inbox.find_first_not_of(" \r", blanks_) != std::string::npos;
        blanks_ = inbox.size();
    }
    started_ = started_ || begun_ || blank_bytes_ + inbox.size() > most_blank_bytes;
    // The line is parsed again only when it has become much longer, or is whole.
    const bool due = inbox.size() <= short_line || inbox.size() >= 2 * judged_size_ || lines_ != 0;
    if (!begun_ || first_line_judged_ || !due) {
        return;
    }
    if (icap::analyzer().classify(inbox.data(), inbox.data() + inbox.size()) == http::head_status::invalid) {
        throw bad_request("not a request");
    }
    judged_size_ = inbox.size();
    first_line_judged_ = lines_ != 0;
}

bool request_reader::read_encapsulated_heads(std::string& inbox)
{
    const std::size_t size = head_->heads_size();
    if (inbox.size() < size) {
        return false;
    }
    const std::string_view heads = std::string_view(inbox).substr(0, size);
    framing_added_ = lacks_framing(*head_, heads);
    request_ = make_request(*head_, heads);
    inbox.erase(0, size);
    heads_read_ = true;
    if (head_->method == icap::request_method::options) {
        return true;
    }
    body_.emplace(*request_, bounds_.max_body, bounds_.budget);
    settle_announced_length();
    begin_scan();
    if (request_->preview_present() && request_->preview_size() > 0) {
        normaliser_.emplace(request_->preview_size());
    }
    return true;
}

/// The length of a body may have blanks behind it, and more digits than the message reads.
void request_reader::settle_announced_length()
{
    constexpr std::string_view name = "Content-Length";
    const auto value = object().headers().get(name);
    if (!head_->has_body || !value) {
        return;
    }
    const std::string_view text(value->data(), value->size());
    const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789"));
    std::uint32_t length = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), length).ec == std::errc::result_out_of_range) {
        throw bad_request("the object is too large", 413);
    }
    if (digits.size() != text.size() && text.find_first_not_of(" \t\r\n", digits.size()) == std::string_view::npos) {
        object().headers().set(name, std::string(digits));
    }
}

request_reader::progress request_reader::read_body(std::string& inbox)
{
    if (request_->encapsulated().null_body != 0) {
        return progress::complete;
    }
    if (normaliser_) {
        std::string normal;
        normaliser_->feed(inbox, normal);
        inbox.swap(normal);
        if (normaliser_->settled()) {
            normaliser_.reset();
        }
    }
    if (end_mark.starts_with(inbox) && announces_nothing()) {
        ended_early_ = true;
        return progress::complete;
    }
    inbox.erase(0, body_->read(inbox));
    if (!body_->at_end()) {
        return progress::need_more;
    }
    if (!only_preview() || request_->is_endoff_preview()) {
        return progress::complete;
    }
    if (padded()) {
        ended_early_ = true;
        return progress::complete;
    }
    return progress::preview_ended;
}

/// Returns true if the object is shorter than the preview announced for it, so that no further payload can follow. An
/// object that fills the preview exactly may be complete too, but its peer waits for a request to end it.
bool request_reader::padded()
{
    const bool has_length = dynamic_cast<http::generic_message*>(&object()) != nullptr;
    return has_length && object().complete() && object().body_size() < request_->preview_size();
}

/// Returns true if the announced body has a length of zero and there is no preview. The client sends no end mark for
/// such a body.
bool request_reader::announces_nothing()
{
    return !request_->preview_present() && announced_length() == 0U;
}

/// Returns the length that the object's head specifies.
std::optional<std::uint64_t> request_reader::announced_length()
{
    if (dynamic_cast<http::generic_message*>(&object()) == nullptr) {
        return std::nullopt;
    }
    const auto value = object().headers().get("Content-Length");
    std::uint64_t length = 0;
    if (!value || value->empty()) {
        return std::nullopt;
    }
    const char* const end = value->data() + value->size();
    const auto [stop, error] = std::from_chars(value->data(), end, length);
    return error == std::errc{} && stop == end ? std::optional(length) : std::nullopt;
}

void request_reader::begin_scan()
{
    if (!start_scan_ || request_->encapsulated().null_body != 0) {
        return;
    }
    if (const auto length = announced_length()) {
        body_->scan_with(start_scan_(*length));
    }
}

void request_reader::continue_behind_preview()
{
    body_->continue_behind_preview();
    continued_ = true;
}

} // namespace service
