#include "tests/end_to_end/service_faults/fault_desk.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace test {

namespace {

/// The verdict of a message is kept by its identifier, and that of an object by its contents.
std::string new_identifier()
{
    static std::atomic<int> last = 0;
    return "<fault." + std::to_string(++last) + "@example.org>";
}

} // namespace

host::opening open_condemned(desk& reader)
{
    const std::string identifier = new_identifier();
    return reader.open(plain_mail(antivirus_test_file() + identifier, identifier));
}

host::opening open_harmless(desk& reader)
{
    const std::string identifier = new_identifier();
    return reader.open(plain_mail("Nothing special: " + identifier, identifier));
}

std::unique_ptr<desk> reader_at(std::uint16_t port, std::uint32_t patience)
{
    const std::shared_ptr<ConnectionSource> link = std::make_shared<impatient_link>(port, patience);
    return std::make_unique<desk>(link);
}

fault_desk::fault_desk()
{
    options.scan_timeout = std::chrono::milliseconds(30000);
}

void fault_desk::start(std::uint32_t patience)
{
    server_ = std::make_unique<service::scan_server>(options);
    server_->start();
    desk_ = reader_at(server_->port(), patience);
}

host::opening fault_desk::open_condemned()
{
    return test::open_condemned(*desk_);
}

host::opening fault_desk::open_harmless()
{
    return test::open_harmless(*desk_);
}

void fault_desk::expect_unscanned(const host::opening& opened) const
{
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ(opened.verdict, ScanResult::Clean); // the mail client's word for what was not judged
    EXPECT_TRUE(log.contains("failed: request failed: server reply with error"));
}

void fault_desk::expect_condemned(const host::opening& opened)
{
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_EQ(opened.verdict, ScanResult::Blocked);
}

void fault_desk::expect_next_is_right()
{
    expect_condemned(open_condemned());
    const auto harmless = open_harmless();
    EXPECT_EQ(harmless.verdict, ScanResult::Clean);
    EXPECT_FALSE(harmless.blocked);
}

int fault_desk::count_lines(std::uint32_t level, std::string_view text) const
{
    const auto lines = log.lines();
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const log_record& line) {
        return line.logger == "service" && line.level == level && line.text.find(text) != std::string::npos;
    }));
}

bool fault_desk::has_line(std::uint32_t level, std::string_view text) const
{
    return count_lines(level, text) != 0;
}

void fault_desk::expect_line(std::uint32_t level, std::string_view text) const
{
    constexpr int most_waits = 3000;
    for (int i = 0; i < most_waits && !has_line(level, text); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(has_line(level, text)) << "no line '" << text << "' in "
                                       << testing::PrintToString(log.texts("service"));
}

} // namespace test
