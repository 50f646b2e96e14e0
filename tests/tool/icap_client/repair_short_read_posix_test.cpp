#include "tests/tool/icap_client/session_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace {

namespace reply = test::reply;
using test::joined;
using texts = std::vector<std::string>;

/// Cuts the open files without a name, which is where large bodies are kept. Returns their number.
int cut_body_files(off_t size)
{
    int cut = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the descriptor that reads the folder
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        if (target.find('#') != std::string::npos && target.ends_with(" (deleted)")) {
            EXPECT_EQ(::truncate(entry.path().c_str(), size), 0);
            ++cut;
        }
    }
    return cut;
}

/// A body to scan that makes the body of a repair shorter while it is overwritten with it.
class cutting_data final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        std::memcpy(destination, text.data() + offset, count);
        return count;
    }
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override
    {
        if (cut == 0) {
            cut = cut_body_files(5000);
        }
        text.resize(std::max<std::uint64_t>(text.size(), offset + count));
        std::memcpy(text.data() + offset, source, count);
        return count;
    }
    std::uint64_t append(const void* source, std::uint64_t count) override { return write(size(), source, count); }
    void swap(web::io_data&) override {}
    void size(std::uint64_t new_size) override { text.resize(new_size); }
    [[nodiscard]] std::uint64_t size() override { return text.size(); }

    std::string text = "body";
    int cut = 0;
};

class RepairShortRead : public test::session_fixture
{};

TEST_F(RepairShortRead, DecidesNothingAndKeepsWhatWasWritten)
{
    serve(test::greeted().expect_until("\r\n0\r\n\r\n").send(reply::repaired(std::string(200000, 'r'))));
    open();
    const auto data = std::make_shared<cutting_data>();
    icap::client::scan_mail mail;
    mail.subject = "Hello";
    mail.data = data;
    icap::client::session::answer_ptr answer;
    const test::log_capture log;
    EXPECT_EQ(subject->scan(mail, answer), ScanResult::None);
    EXPECT_EQ(lines(log), (texts{"500 S mail request 'Hello'", "500 S send msg and wait reply ",
                                 "500 S request has been completed: response 'repaired' with istag=\"T-1\"",
                                 "200 S fire_repaired: could not read data from repaired IO",
                                 "200 S request respmod(repair failed): read from repaired IO failed",
                                 "500 S mail request 'Hello' has been blocked by scanner"}));
    EXPECT_GT(data->cut, 0);
    EXPECT_TRUE(data->text == std::string(4096, 'r'));
    EXPECT_NE(answer, nullptr);
    EXPECT_FALSE(subject->is_invalid());
}

} // namespace
