#include "logging/logging.h"
#include "tests/support/log_capture.h"
#include "tool/system/identity.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> lines_of(const fs::path& path)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

/// A separate folder for each test, and no configuration left in force afterwards.
class configurator : public testing::Test
{
protected:
    void SetUp() override { fs::create_directories(folder()); }
    void TearDown() override
    {
        configure({});
        fs::remove_all(folder());
    }

    static fs::path folder()
    {
        return fs::temp_directory_path() / ("postwarden-log-" + std::to_string(winapi::current_process_id()));
    }
    static void configure(const std::wstring& text) { logging::configurator::default_configurator().configure(text); }
    static std::wstring file_part(const char* name) { return L"file=" + (folder() / name).wstring(); }
};

TEST_F(configurator, writes_lines_to_a_file)
{
    configure(L"level=500; " + file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 400, "Connection ok");
    LOG_LINE(logging::wpx_log(), 500, "read " << 3);
    const auto lines = lines_of(folder() / "pw.log");
    ASSERT_EQ(lines.size(), 2U) << "each line is in the file at once";
    EXPECT_TRUE(lines[0].find(" 400 outlook ") != std::string::npos && lines[0].ends_with(" Connection ok"));
    EXPECT_TRUE(lines[1].find(" 500 wpx ") != std::string::npos && lines[1].ends_with(" read 3"));
}

TEST_F(configurator, puts_time_level_logger_thread_and_text_in_a_line)
{
    configure(file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 300, "the text");
    const auto lines = lines_of(folder() / "pw.log");
    ASSERT_EQ(lines.size(), 1U);
    const std::string& line = lines.front();
    int field[9] = {};
    char sign = 0;
    int used = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%4d-%2d-%2d %2d:%2d:%2d.%3d %c%2d:%2d%n", &field[0], &field[1], &field[2],
                          &field[3], &field[4], &field[5], &field[6], &sign, &field[7], &field[8], &used),
              10)
        << line;
    EXPECT_GE(field[0], 2024);
    EXPECT_TRUE(sign == '+' || sign == '-');
    unsigned long long thread = 0;
    char rest[32] = {};
    ASSERT_EQ(std::sscanf(line.c_str() + used, " 300 outlook %llu %31[^\n]", &thread, rest), 2) << line;
    EXPECT_NE(thread, 0U);
    EXPECT_STREQ(rest, "the text");
}

TEST_F(configurator, makes_the_folder_of_a_file)
{
    configure(file_part("deeper/still/pw.log"));
    LOG_LINE(logging::outlook_log(), 200, "text");
    EXPECT_EQ(lines_of(folder() / "deeper/still/pw.log").size(), 1U);
}

TEST_F(configurator, takes_a_file_name_beyond_the_ansi_code_page)
{
    configure(file_part("") + L"\u65e5\u672c.log");
    const fs::path path = folder() / fs::path(u8"\u65e5\u672c.log");
    LOG_LINE(logging::outlook_log(), 200, "text");
    EXPECT_EQ(lines_of(path).size(), 1U);
}

TEST_F(configurator, appends_to_a_file_that_is_there)
{
    configure(file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 200, "first");
    configure({});
    configure(file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 200, "second");
    EXPECT_EQ(lines_of(folder() / "pw.log").size(), 2U);
}

TEST_F(configurator, starts_a_file_anew_at_its_size_and_keeps_so_many_old_ones)
{
    configure(file_part("pw.log") + L",size=2K,count=2");
    for (int i = 0; i < 200; ++i) {
        LOG_LINE(logging::outlook_log(), 200, "line number " << i << " of a longer text to fill the file");
    }
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(folder())) {
        EXPECT_LE(entry.file_size(), 2048U) << entry.path();
        ++files;
    }
    EXPECT_EQ(files, 3U);
    EXPECT_TRUE(fs::exists(folder() / "pw.1.log"));
    EXPECT_TRUE(fs::exists(folder() / "pw.2.log"));
    const auto lines = lines_of(folder() / "pw.log");
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("line number 199 "), std::string::npos);
}

TEST_F(configurator, sets_levels_by_logger)
{
    configure(L"level=200; level.wpx=500; level.icap=0; " + file_part("pw.log"));
    EXPECT_TRUE(logging::wpx_log().enabled(500));
    EXPECT_FALSE(logging::outlook_log().enabled(300));
    LOG_LINE(logging::outlook_log(), 300, "dropped");
    LOG_LINE(logging::icap_log(), 200, "dropped");
    LOG_LINE(logging::wpx_log(), 500, "kept");
    LOG_LINE(logging::outlook_log(), 200, "kept");
    EXPECT_EQ(lines_of(folder() / "pw.log").size(), 2U);
}

TEST_F(configurator, keeps_its_levels_when_a_finer_sink_is_added)
{
    configure(L"level=300; " + file_part("pw.log"));
    const test::log_capture log(500);
    LOG_LINE(logging::outlook_log(), 500, "for the capture only");
    LOG_LINE(logging::outlook_log(), 300, "for both");
    EXPECT_EQ(log.texts().size(), 2U);
    EXPECT_EQ(lines_of(folder() / "pw.log").size(), 1U);
}

TEST_F(configurator, leaves_added_sinks_alone)
{
    const test::log_capture log;
    configure(L"level=200; " + file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 500, "still captured");
    configure({});
    LOG_LINE(logging::outlook_log(), 500, "and again");
    EXPECT_EQ(log.texts().size(), 2U);
}

TEST_F(configurator, disables_logging_with_an_empty_text_or_level_zero)
{
    configure(file_part("pw.log"));
    EXPECT_EQ(logging::log_manager::enabled_.load(), 400U);
    configure(L"level=0; " + file_part("pw.log"));
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    configure(L"level=500");
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U) << "nobody is there to keep a line";
    configure(L"level=0; level.wpx=500; " + file_part("pw.log"));
    EXPECT_EQ(logging::log_manager::enabled_.load(), 500U);
    configure({});
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    EXPECT_FALSE(logging::outlook_log().enabled(200));
}

TEST_F(configurator, stays_as_it_was_when_a_text_is_broken)
{
    configure(L"level=300; " + file_part("pw.log"));
    EXPECT_THROW(configure(L"level=500; stderr; nonsense"), std::invalid_argument);
    EXPECT_EQ(logging::log_manager::enabled_.load(), 300U);
    LOG_LINE(logging::outlook_log(), 300, "kept");
    LOG_LINE(logging::outlook_log(), 500, "dropped");
    EXPECT_EQ(lines_of(folder() / "pw.log").size(), 1U);
}

TEST_F(configurator, stays_as_it_was_when_a_file_cannot_be_opened)
{
    configure(L"level=300; " + file_part("pw.log"));
    std::ofstream(folder() / "plain") << "not a folder";
    try {
        configure(L"level=500; " + file_part("other.log") + L"; " + file_part("plain/pw.log"));
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& failure) {
        EXPECT_NE(std::string(failure.what()).find("plain"), std::string::npos) << failure.what();
    }
    EXPECT_EQ(logging::log_manager::enabled_.load(), 300U);
    LOG_LINE(logging::outlook_log(), 300, "kept");
    EXPECT_EQ(lines_of(folder() / "pw.log").size(), 1U);
    EXPECT_TRUE(lines_of(folder() / "other.log").empty());
}

TEST_F(configurator, keeps_a_file_open_over_a_change_of_levels)
{
    configure(L"level=200; " + file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 200, "first");
    configure(L"level=500; " + file_part("pw.log"));
    LOG_LINE(logging::outlook_log(), 500, "second");
    configure(L"level=500; " + file_part("pw.log") + L",size=1M");
    LOG_LINE(logging::outlook_log(), 500, "third");
    EXPECT_EQ(lines_of(folder() / "pw.log").size(), 3U);
}

TEST_F(configurator, writes_to_stderr)
{
    testing::internal::CaptureStderr(); // first, because a sink may keep the stream's handle
    configure(L"level=500; stderr");
    LOG_LINE(logging::icapclnt_log(), 500, "to the screen");
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_NE(written.find(" 500 icapclnt "), std::string::npos) << written;
    EXPECT_NE(written.find(" to the screen"), std::string::npos) << written;
}

TEST_F(configurator, writes_whole_lines_from_many_threads)
{
    constexpr int thread_count = 4;
    constexpr int line_count = 100;
    configure(L"level=500; " + file_part("pw.log"));
    std::vector<std::thread> threads;
    for (int i = 0; i < thread_count; ++i) {
        threads.emplace_back([i] {
            for (int line = 0; line < line_count; ++line) {
                LOG_LINE(logging::wpx_log(), 500, "thread " << i << " line " << line << " end");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto lines = lines_of(folder() / "pw.log");
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(thread_count * line_count));
    for (const auto& line : lines) {
        EXPECT_TRUE(line.ends_with(" end")) << line;
        EXPECT_EQ(line.find("thread"), line.rfind("thread")) << line;
    }
}

TEST_F(configurator, may_be_applied_from_many_threads_while_others_log)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                configure(L"level=500; " + file_part("pw.log"));
                configure({});
            }
        });
        threads.emplace_back([] {
            for (int line = 0; line < 500; ++line) {
                LOG_LINE(logging::wpx_log(), 500, "line end");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    for (const auto& line : lines_of(folder() / "pw.log")) {
        EXPECT_TRUE(line.ends_with(" line end")) << line;
    }
}

} // namespace
