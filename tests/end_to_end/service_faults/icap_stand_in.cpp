#include "tests/end_to_end/service_faults/icap_stand_in.h"

#include <charconv>
#include <string_view>

namespace test {

namespace {

const std::string go_on = "ICAP/1.0 100 Continue\r\n\r\n";
constexpr std::string_view body_mark = "res-body=";

std::size_t number_behind(std::string_view text, std::string_view mark, int base)
{
    std::size_t number = 0;
    const std::size_t at = text.find(mark);
    if (at != std::string_view::npos) {
        const std::string_view digits = text.substr(at + mark.size());
        std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    }
    return number;
}

} // namespace

void icap_stand_in::serve(stand_in::link& peer)
{
    {
        const std::lock_guard guard(lock_);
        ++connections_;
    }
    std::string request;
    while (peer.take_until("\r\n\r\n", request)) {
        if (request.starts_with("OPTIONS")) {
            peer.send(head("200 OK", "Methods: RESPMOD\r\nAllow: 204\r\nPreview: 4\r\nEncapsulated: null-body=0\r\n"));
        } else if (!take_object(peer, request)) {
            return;
        }
        const std::lock_guard guard(lock_);
        if (closes_) {
            return;
        }
    }
}

bool icap_stand_in::take_object(stand_in::link& peer, const std::string& request)
{
    const upstream_conduct now = conduct();
    std::string heads;
    std::string object;
    bool whole = request.find("\r\nPreview: ") == std::string::npos;
    if (!peer.take(number_behind(request, body_mark, 10), heads) || !take_chunks(peer, object, whole)) {
        return false;
    }
    if (now == upstream_conduct::clears_then_blocks) {
        peer.send(
            head("204 No Content") +
            head("200 OK", "X-Infection-Found: Type=0; Resolution=2; Threat=Late;\r\nEncapsulated: null-body=0\r\n"));
        return true;
    }
    if (!whole) {
        peer.send(go_on);
        if (now == upstream_conduct::closes_at_rest) {
            return false;
        }
        if (!take_chunks(peer, object, whole)) {
            return false;
        }
    }
    if (now == upstream_conduct::wants_rest_twice) {
        peer.send(go_on);
        return peer.need(1);
    }
    if (now == upstream_conduct::fails_at_rest) {
        peer.send(head("500 Server Error", "Encapsulated: null-body=0\r\n"));
        return true;
    }
    if (object.find("ANTIVIRUS-TEST") == std::string::npos) {
        peer.send(head("204 No Content"));
    } else {
        peer.send(head("200 OK", "X-Infection-Found: Type=0; Resolution=2; Threat=Stand.In;\r\n"
                                 "Encapsulated: null-body=0\r\n"));
    }
    return true;
}

bool icap_stand_in::take_chunks(stand_in::link& peer, std::string& object, bool& whole)
{
    std::string line;
    std::string piece;
    for (;;) {
        if (!peer.take_until("\r\n", line)) {
            return false;
        }
        const std::size_t size = number_behind(line, "", 16);
        if (!peer.take(size + 2, piece)) {
            return false;
        }
        if (size == 0) {
            whole = whole || line.find("ieof") != std::string::npos;
            return true;
        }
        object.append(piece, 0, size);
    }
}

std::string icap_stand_in::head(const char* status, const std::string& fields)
{
    const std::lock_guard guard(lock_);
    return std::string("ICAP/1.0 ") + status + "\r\nISTag: \"" + tag_ + "\"\r\n" + fields + "\r\n";
}

upstream_conduct icap_stand_in::conduct()
{
    const std::lock_guard guard(lock_);
    return conduct_;
}

} // namespace test
