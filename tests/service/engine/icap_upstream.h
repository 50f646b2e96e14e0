#pragma once

#include "service/engine/icap_engine.h"
#include "tests/support/scripted_peer.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// Texts and steps of scripted ICAP servers.
namespace test::icap_upstream {

inline const std::string whole = "\r\n0\r\n\r\n"; ///< the end of an object, and of a preview that is not whole
inline const std::string ieof = "\r\n0; ieof\r\n\r\n";
inline const std::string no_content = "ICAP/1.0 204 No Content\r\nISTag: \"one\"\r\n\r\n";
inline const std::string go_on = "ICAP/1.0 100 Continue\r\n\r\n";

/// An answer to OPTIONS.
inline std::string options(std::string_view more = {}, std::string_view tag = "one")
{
    return "ICAP/1.0 200 OK\r\nMethods: REQMOD, RESPMOD\r\nISTag: \"" + std::string(tag) +
           "\"\r\nEncapsulated: null-body=0\r\n" + std::string(more) + "\r\n";
}

inline std::string chunked(std::string_view body)
{
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string size;
    for (std::size_t rest = body.size(); rest != 0; rest /= 16) {
        size.insert(size.begin(), digits[rest % 16]);
    }
    return (body.empty() ? "" : size + "\r\n" + std::string(body) + "\r\n") + "0\r\n\r\n";
}

/// An answer with an HTTP response. `fields` are those of the ICAP head, each with its line end.
inline std::string modified(std::string_view body, std::string_view fields = {},
                            std::string_view status_line = "HTTP/1.1 200 OK")
{
    const std::string head = std::string(status_line) + "\r\nContent-Type: text/html\r\n\r\n";
    return "ICAP/1.0 200 OK\r\nISTag: \"one\"\r\n" + std::string(fields) +
           "Encapsulated: res-hdr=0, res-body=" + std::to_string(head.size()) + "\r\n\r\n" + head + chunked(body);
}

/// A connection on which the options are asked for first.
inline conversation after_options(std::string_view more = {})
{
    return conversation().expect_until("\r\n\r\n").send(options(more));
}

inline conversation object_then(const std::string& answer)
{
    return conversation().expect_until(whole).send(answer);
}

inline service::icap_engine_settings waiting(std::chrono::milliseconds timeout)
{
    service::icap_engine_settings settings;
    settings.timeout = timeout;
    return settings;
}

/// A clock that a test sets.
class set_clock
{
public:
    service::kept_streams<service::timed_stream>::clock function()
    {
        return [this] { return std::chrono::steady_clock::time_point(std::chrono::milliseconds(now_)); };
    }
    void advance(std::chrono::milliseconds time) { now_ += time.count(); }

private:
    std::atomic<std::int64_t> now_{1000000};
};

inline service::icap_url url(std::uint16_t port)
{
    return {"127.0.0.1", port, "avscan"};
}

inline std::unique_ptr<web::io_data> stored(std::string_view text)
{
    auto store = web::make_body_store(text.size());
    EXPECT_EQ(store->append(text.data(), text.size()), text.size());
    return store;
}

inline service::verdict judged(service::scan_engine& engine, std::string_view object, std::string name = "a file.txt",
                               const service::stop_token& stop = {})
{
    const auto store = stored(object);
    return service::scan(engine, {std::move(name), object.size()}, *store, stop);
}

/// Returns a verdict as text: "clean", "blocked: THREAT" and so on.
inline std::string described(const service::verdict& outcome)
{
    struct visitor
    {
        std::string operator()(const service::clean_verdict&) const { return "clean"; }
        std::string operator()(const service::blocked_verdict& found) const { return "blocked: " + found.threat; }
        std::string operator()(const service::repaired_verdict& found) const
        {
            std::string text(static_cast<std::size_t>(found.body->size()), '\0');
            EXPECT_EQ(found.body->read(0, text.data(), text.size()), text.size());
            return "repaired: " + found.threat + ": " + text;
        }
        std::string operator()(const service::unchecked_verdict& why) const { return "unchecked: " + why.why; }
        std::string operator()(const service::error_verdict& why) const { return "error: " + why.why; }
    };
    return std::visit(visitor{}, outcome);
}

} // namespace test::icap_upstream
