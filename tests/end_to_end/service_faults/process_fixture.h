#pragma once

#include "tests/end_to_end/desk.h"
#include "tests/end_to_end/running_service.h"
#include "tests/end_to_end/service_faults/fault_desk.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <thread>
#include <utility>
#include <vector>

namespace test {

/// A service in a process of its own, to which the system can refuse what it needs, and a reader.
class service_process : public testing::Test
{
protected:
    static constexpr std::uint32_t patient = 60000; ///< milliseconds

    /// Starts the service. `first` are a program that becomes the service and its arguments ahead of those.
    void start(std::vector<std::string> arguments, std::vector<std::string> first = {})
    {
        std::vector<std::string> all = {"--port", "0"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        if (first.empty()) {
            service.emplace(POSTWARDEN_SERVICE, all);
        } else {
            const std::string program = first.front();
            first.erase(first.begin());
            first.emplace_back(POSTWARDEN_SERVICE);
            first.insert(first.end(), all.begin(), all.end());
            service.emplace(program, first);
        }
        reader = reader_at(service->port(), patient);
    }

    void limit(decltype(RLIMIT_NOFILE) resource, rlim_t most)
    {
        rlimit before{};
        ASSERT_EQ(::prlimit(service->id(), resource, nullptr, &before), 0);
        const rlimit limited{most, before.rlim_max};
        ASSERT_EQ(::prlimit(service->id(), resource, &limited, nullptr), 0);
        former_limit_ = before;
    }
    void lift_limit(decltype(RLIMIT_NOFILE) resource)
    {
        ASSERT_EQ(::prlimit(service->id(), resource, &former_limit_, nullptr), 0);
    }

    /// Opens a message with an attachment of that many bytes that ends with the standard antivirus test file.
    host::opening open_large(std::size_t size)
    {
        const std::string content = std::to_string(++opened_) + std::string(size, 'x') + antivirus_test_file();
        return reader->open(mail_with_attachment("See there.", "a.bin", content));
    }
    void expect_unscanned(const host::opening& opened) const
    {
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_FALSE(opened.blocked);
        EXPECT_NE(opened.verdict, ScanResult::Blocked);
    }
    void expect_next_is_right()
    {
        EXPECT_EQ(open_condemned(*reader).verdict, ScanResult::Blocked);
        EXPECT_EQ(open_harmless(*reader).verdict, ScanResult::Clean);
    }
    /// Waits until standard error of the service contains the text.
    void expect_error_line(std::string_view text) const
    {
        constexpr int most_waits = 3000;
        for (int i = 0; i < most_waits && service->errors().find(text) == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_NE(service->errors().find(text), std::string::npos) << text << " is not in: " << service->errors();
    }

    log_capture log; ///< of the reader
    host::test::temporary_folder folder;
    std::optional<running_service> service;
    std::unique_ptr<desk> reader;

private:
    rlimit former_limit_{};
    int opened_ = 0; ///< each message is another one
};

} // namespace test
