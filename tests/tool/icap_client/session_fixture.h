#pragma once

#include "tests/support/log_capture.h"
#include "tests/support/scripted_peer.h"
#include "tests/tool/icap_client/icap_replies.h"
#include "tests/tool/icap_client/string_data.h"
#include "tool/asyncio/channel.h"
#include "tool/icap_client/session_impl.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// A clock that changes only when a test moves it.
class hand_clock final : public winapi::time_source
{
public:
    [[nodiscard]] std::uint32_t tick_count() const override { return static_cast<std::uint32_t>(now_ / 10000); }
    [[nodiscard]] std::uint64_t system_ticks() const override { return now_; }
    void advance_milliseconds(std::uint64_t count) { now_ += count * 10000; }

private:
    std::atomic<std::uint64_t> now_{1000000};
};

inline const std::string options_marker = "Encapsulated: null-body=0\r\n\r\n";

/// Returns a conversation that begins with an answered OPTIONS request.
inline conversation greeted(std::uint32_t preview = 0)
{
    return conversation{}.expect_until(options_marker).send(reply::options(preview));
}

/// Sessions against a scripted peer.
class session_fixture : public testing::Test
{
protected:
    ~session_fixture() override
    {
        subject.reset();
        channel.stop();
    }

    void serve(std::vector<conversation> conversations)
    {
        peer = std::make_unique<scripted_peer>(std::move(conversations));
    }
    void serve(conversation only)
    {
        std::vector<conversation> all;
        all.push_back(std::move(only));
        serve(std::move(all));
    }
    [[nodiscard]] icap::client::session_target target() const
    {
        return {L"icap://127.0.0.1:" + std::to_wstring(peer->port()) + L"/webscan",
                web::make_socket_address(0x7F000001, peer->port())};
    }
    [[nodiscard]] std::string url() const
    {
        return joined({"icap://127.0.0.1:", std::to_string(peer->port()), "/webscan"});
    }
    [[nodiscard]] std::string options_text() const
    {
        return joined({"OPTIONS ", url(), " ICAP/1.0\r\nHost: 127.0.0.1\r\n",
                       "User-Agent: Morvelane-Protection-Agent/1.0\r\nEncapsulated: null-body=0\r\n\r\n"});
    }
    std::shared_ptr<icap::client::session_impl> open()
    {
        subject = std::make_shared<icap::client::session_impl>(target(), channel, timing, clock);
        return subject;
    }
    /// Returns the bytes received behind the OPTIONS request.
    [[nodiscard]] std::string request(std::size_t connection = 0) const
    {
        const std::string all = peer->received(connection);
        const std::string options = options_text();
        EXPECT_EQ(all.substr(0, options.size()), options);
        return all.substr(std::min(options.size(), all.size()));
    }
    /// Returns the "session(0x...)" of the session.
    [[nodiscard]] std::string name() const
    {
        std::ostringstream text;
        text << "session(" << subject.get() << ")";
        return text.str();
    }
    /// Returns the captured lines of the client's logger, without the session's name.
    [[nodiscard]] std::vector<std::string> lines(const log_capture& log) const
    {
        std::vector<std::string> found;
        const std::string own = name();
        for (const auto& line : log.lines()) {
            if (line.logger != "icapclnt") {
                continue;
            }
            std::string text = line.text;
            if (text.starts_with(own)) {
                text.replace(0, own.size(), "S");
            }
            found.push_back(joined({std::to_string(line.level), " ", text}));
        }
        return found;
    }

    std::unique_ptr<scripted_peer> peer;
    tpl::channel channel{4, 1};
    icap::client::session_timing timing{.options_answer = 20000, .release_poll = 1};
    hand_clock clock;
    std::shared_ptr<icap::client::session_impl> subject;
};

} // namespace test
