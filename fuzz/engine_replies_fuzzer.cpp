#include "fuzz/piece_sizes.h"
#include "service/engine/clamd_reply.h"
#include "service/engine/icap_answer.h"
#include "service/engine/icap_findings.h"
#include "service/engine/icap_head.h"
#include "service/engine/icap_url.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

/// Reads the replies of engines: the input as a reply of clamd and as an answer of an ICAP server, the latter in pieces
/// that the first byte selects and as one piece, with the same outcome. A reply is clean only if it is the one text
/// that says so, and a head that names a threat is always a report.
namespace {

void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

void require_printable(std::string_view text)
{
    constexpr std::size_t longest = 200;
    const bool plain = std::all_of(text.begin(), text.end(), [](char byte) { return byte >= ' ' && byte <= '~'; });
    require(plain && text.size() <= longest, "a text is not fit for the log");
}

void read_as_clamd_reply(std::string_view text)
{
    const service::verdict outcome = service::read_clamd_reply(text);
    require(std::holds_alternative<service::clean_verdict>(outcome) == (text == "stream: OK"), "cleared by mistake");
    if (const auto* failure = std::get_if<service::error_verdict>(&outcome)) {
        require(!failure->why.empty(), "an error without a reason");
    }
}

/// Everything that one answer consists of.
struct received final : service::icap_answer::body_receiver
{
    void receive(std::string_view bytes) override
    {
        require(!bytes.empty(), "an empty piece of a body");
        body.append(bytes);
    }

    service::icap_answer answer;
    std::string body;
    std::optional<std::string> refusal;
};

void feed(received& to, std::string_view text, std::uint8_t seed)
{
    fuzz::piece_sizes sizes(seed);
    while (!text.empty() && !to.refusal) {
        const std::string piece(text.substr(0, sizes.next()));
        text.remove_prefix(piece.size());
        try {
            to.answer.feed(piece, to);
        } catch (const std::runtime_error& refused) {
            to.refusal = refused.what();
        }
    }
}

void use_head(const service::icap_head& head)
{
    const bool names_threat = std::any_of(head.fields.begin(), head.fields.end(), [](const auto& field) {
        const bool names =
            winapi::same_no_case(field.first, "X-Infection-Found") || winapi::same_no_case(field.first, "X-Virus-ID");
        return names && !field.second.empty();
    });
    const std::optional<std::string> threat = service::reported_threat(head);
    require(!names_threat || threat, "a report is overlooked");
    if (threat) {
        require(!threat->empty(), "a threat without a name");
        require_printable(*threat);
    }
    (void)service::reports_repair(head);
    require_printable(service::istag_of(head));
    try {
        require_printable(service::read_icap_options(head).istag);
    } catch (const std::runtime_error& refused) {
        (void)refused.what();
    }
}

void read_as_answer(std::string_view text, std::uint8_t seed)
{
    received whole;
    try {
        whole.answer.feed(text, whole);
    } catch (const std::runtime_error& refused) {
        whole.refusal = refused.what();
    }
    received pieces;
    feed(pieces, text, seed);
    require(whole.refusal == pieces.refusal && whole.body == pieces.body, "the pieces make a difference");
    require(whole.answer.complete() == pieces.answer.complete(), "the pieces make a difference to the end");
    require(whole.answer.has_heads() == pieces.answer.has_heads(), "the pieces make a difference to the heads");
    require(whole.body.size() <= text.size() && whole.answer.surplus().size() <= text.size(), "more than was sent");
    if (!whole.answer.has_head()) {
        return;
    }
    require(whole.answer.head().status == pieces.answer.head().status &&
                whole.answer.head().fields == pieces.answer.head().fields,
            "the pieces make a difference to the head");
    use_head(whole.answer.head());
    if (whole.answer.http()) {
        use_head(*whole.answer.http());
    }
    require(!whole.answer.keeps_connection() || whole.answer.complete(), "a connection is kept within an answer");
}

void read_as_url(const std::string& text)
{
    try {
        const service::icap_url url = service::read_icap_url(text);
        require(url.port != 0 && !url.host.empty(), "a URL without an address");
        const service::icap_url again = service::read_icap_url(url.text());
        require(again.host == url.host && again.port == url.port && again.service == url.service,
                "a URL is another one when it is read again");
    } catch (const std::invalid_argument& refused) {
        (void)refused.what();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    read_as_clamd_reply(text);
    read_as_answer(text, data[0]);
    read_as_url(text);
    return 0;
}
