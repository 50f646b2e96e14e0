#pragma once

#include "tests/support/log_capture.h"
#include "tests/tool/wproxy/fake_platform.h"
#include "tool/system/errors.h"
#include "tool/wproxy/socket.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// Records the bytes and errors of a socket, in one list, in order.
class recorder final : public tpl::iasync, public web::socket::state
{
public:
    bool input(const char* begin, const char* end) override
    {
        events.push_back("input '" + std::string(begin, end) + "'");
        if (on_input) {
            on_input();
        }
        return true;
    }
    void error(std::uint32_t code) override
    {
        events.push_back("error " + std::to_string(code));
        if (on_error) {
            on_error();
        }
    }

    std::vector<std::string> events;
    std::function<void()> on_input;
    std::function<void()> on_error;
};

using strings = std::vector<std::string>;

/// A socket on a platform that the test controls. Log lines have the form "LEVEL TEXT", with SOCKET for the socket's
/// address and CTX for the context's.
class SocketOnFakePlatform : public testing::Test
{
protected:
    /// Makes the socket, without a channel, and discards the calls and log lines of that.
    void make(bool connected = true)
    {
        socket.emplace(fake_platform::some_handle(), nullptr, &receiver, &receiver, connected, platform);
        forget();
    }
    void make_attached(bool connected = true)
    {
        socket.emplace(fake_platform::some_handle(), &channel, &receiver, &receiver, connected, platform);
        forget();
    }
    void forget()
    {
        log.clear();
        static_cast<void>(platform.take_calls());
        receiver.events.clear();
    }

    [[nodiscard]] strings logged() const
    {
        strings lines;
        for (const auto& line : log.lines()) {
            EXPECT_EQ(line.logger, "wpx") << line.text;
            auto text = line.text;
            if (socket) {
                replace(text, address_of(&*socket), "SOCKET");
            }
            replace(text, address_of(context), "CTX");
            lines.push_back(std::to_string(line.level) + " " + text);
        }
        return lines;
    }
    [[nodiscard]] strings calls() { return platform.take_calls(); }

    /// Returns the exception of an operation: "CODE", then the text behind the code if there is one. Checks file and
    /// line.
    [[nodiscard]] static std::string raised_by(const std::function<void()>& operation)
    {
        try {
            operation();
        } catch (const error::win32exception& problem) {
            const std::string text = problem.what();
            const auto code = std::to_string(problem.code());
            const auto head = "winapi error occured at source tool\\wproxy\\socket(" + std::to_string(problem.line()) +
                              "): error code " + code;
            EXPECT_GT(problem.line(), 0);
            EXPECT_EQ(text.substr(0, head.size()), head);
            return code + text.substr(std::min(head.size(), text.size()));
        }
        return "nothing";
    }

    /// Starts a read and takes its context, which the log lines then name CTX.
    [[nodiscard]] std::unique_ptr<web::read_context> started_read()
    {
        socket->read();
        auto taken = platform.take_outstanding();
        context = taken.get();
        forget();
        return taken;
    }
    /// Completes a read as the channel does.
    bool complete(std::unique_ptr<web::read_context> taken, const std::string& bytes, std::uint32_t error = 0)
    {
        std::copy(bytes.begin(), bytes.end(), taken->data.begin());
        taken->transferred = static_cast<std::uint32_t>(bytes.size());
        taken->error = error;
        return socket->complete(std::move(taken));
    }

    static std::string address_of(const void* pointer)
    {
        std::ostringstream text;
        text << pointer;
        return text.str();
    }
    static void replace(std::string& text, const std::string& what, const std::string& by)
    {
        for (auto at = text.find(what); what.size() > 1 && at != std::string::npos; at = text.find(what, at)) {
            text.replace(at, what.size(), by);
        }
    }

    log_capture log;
    fake_platform platform;
    tpl::channel channel{0, 1};
    recorder receiver;
    const void* context = nullptr;
    std::optional<web::socket> socket;
};

} // namespace test
