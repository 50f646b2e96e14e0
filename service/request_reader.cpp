#include "service/request_reader.h"

#include "service/bad_request.h"
#include "tool/http/messages.h"
#include "tool/icap/analyzer.h"
#include "tool/system/errors.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace service {

namespace {

/// The capacity of one analyzer in bytes.
constexpr std::size_t longest_head = 16640;

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

std::size_t distance(std::uint32_t from, std::uint32_t to)
{
    if (to < from || to - from > longest_head) {
        throw bad_request("the offsets of Encapsulated can't be");
    }
    return to - from;
}

} // namespace

request_reader::request_reader(const limits& bounds, bool end_mark_may_lead)
    : bounds_(bounds)
    , end_mark_may_lead_(end_mark_may_lead)
{}

request_reader::progress request_reader::read(std::string& inbox)
{
    try {
        return read_or_raise(inbox);
    } catch (const bad_request&) {
        throw;
    } catch (const error::win32exception& failure) {
        throw bad_request(failure.what(), 500); // an error of the store, not of the peer
    } catch (const std::bad_alloc&) {
        throw bad_request("out of memory", 500);
    } catch (const std::exception& failure) {
        throw bad_request(failure.what());
    }
}

request_reader::progress request_reader::read_or_raise(std::string& inbox)
{
    if (!request_ && (!drop_end_mark(inbox) || !read_head(inbox))) {
        return progress::need_more;
    }
    if (request_->method() == icap::request_method::options) {
        return progress::complete;
    }
    if (!heads_read_ && !read_encapsulated_heads(inbox)) {
        return progress::need_more;
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
    icap::analyzer analyzer;
    analyzer.enqueue(inbox.data(), inbox.data() + end);
    auto message = analyzer.extract();
    if (!message) {
        return false;
    }
    if (message->type() != icap::type_request) {
        throw bad_request("not a request");
    }
    request_.reset(static_cast<icap::request_message*>(message.release()));
    inbox.erase(0, end);
    accept_head();
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

void request_reader::accept_head()
{
    started_ = true;
    const icap::encapsulated_offsets offsets = request_->encapsulated();
    if (offsets.opt_body != 0) {
        throw bad_request("a body of OPTIONS is not served");
    }
    if (request_->method() == icap::request_method::options) {
        return;
    }
    if (request_->preview_present() && request_->preview_size() > bounds_.max_preview) {
        throw bad_request("the preview is too large");
    }
    const bool has_response = request_->method() == icap::request_method::respmod;
    const bool body = has_response ? offsets.res_body != 0 : offsets.req_body != 0;
    if ((has_response && offsets.res_hdr == 0) || body == (offsets.null_body != 0)) {
        throw bad_request("Encapsulated doesn't fit the method");
    }
    const std::uint32_t end = !body          ? offsets.null_body_offset
                              : has_response ? offsets.res_body_offset
                                             : offsets.req_body_offset;
    first_head_size_ = distance(offsets.req_hdr_offset, has_response ? offsets.res_hdr_offset : end);
    second_head_size_ = has_response ? distance(offsets.res_hdr_offset, end) : 0;
}

bool request_reader::read_encapsulated_heads(std::string& inbox)
{
    const std::size_t size = first_head_size_ + second_head_size_;
    if (inbox.size() < size) {
        return false;
    }
    // Each head is passed to the message in one piece and must end at the offset that Encapsulated specifies.
    const char* const begin = inbox.data();
    request_->append(begin, begin + first_head_size_);
    if (!request_->has_request() || request_->request().raw_head().size() != first_head_size_) {
        throw bad_request("the encapsulated request doesn't end where Encapsulated says");
    }
    if (request_->method() == icap::request_method::respmod) {
        request_->append(begin + first_head_size_, begin + size);
        if (!request_->has_response() || request_->response().raw_head().size() != second_head_size_) {
            throw bad_request("the encapsulated response doesn't end where Encapsulated says");
        }
    }
    inbox.erase(0, size);
    heads_read_ = true;
    body_.emplace(*request_, bounds_.max_body);
    if (request_->preview_present() && request_->preview_size() > 0) {
        normaliser_.emplace(request_->preview_size());
    }
    return true;
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
    if (request_->preview_present() || dynamic_cast<http::generic_message*>(&object()) == nullptr) {
        return false;
    }
    const auto length = object().headers().get("Content-Length");
    return length && std::string_view(length->data(), length->size()) == "0";
}

void request_reader::continue_behind_preview()
{
    body_->continue_behind_preview();
    continued_ = true;
}

} // namespace service
