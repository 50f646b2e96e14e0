#include "logging/trace_configuration.h"
#include "tests/support/log_capture.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

namespace {

namespace names = winapi::registry_names;

/// Installs a registry in memory instead of the machine's.
class trace_configuration : public testing::Test
{
protected:
    void TearDown() override { logging::configurator::default_configurator().configure({}); }

    void set(std::wstring_view text) { registry_.set_string(names::trace_key, names::trace_configuration, text); }

    /// Returns a text that was not applied before in this process; a level for an unused logger makes it unique.
    static std::wstring fresh(const std::wstring& text)
    {
        static int number = 0;
        return text + L"; level.nobody" + std::to_wstring(++number) + L"=0";
    }

    winapi::memory_registry registry_;
    winapi::registry_override in_place_{registry_};
};

TEST_F(trace_configuration, comes_from_the_value_of_the_trace_key)
{
    registry_.set_string(L"SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Trace", L"Configuration", fresh(L"level=300; stderr"));
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 300U);
}

TEST_F(trace_configuration, does_nothing_without_a_key_or_a_value)
{
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    registry_.make_key(names::trace_key);
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
}

TEST_F(trace_configuration, is_applied_again_when_the_text_has_changed)
{
    set(fresh(L"level=300; stderr"));
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 300U);
    set(fresh(L"level=500; stderr"));
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 500U);
}

TEST_F(trace_configuration, is_not_applied_twice_when_the_text_has_not_changed)
{
    set(fresh(L"level=300; stderr"));
    logging::apply_trace_configuration();
    logging::configurator::default_configurator().configure(L"level=500; stderr");
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 500U) << "what was configured since then stays";
}

TEST_F(trace_configuration, is_applied_again_after_it_was_closed)
{
    set(fresh(L"level=300; stderr"));
    logging::apply_trace_configuration();
    logging::close_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 300U);
}

TEST_F(trace_configuration, that_was_not_applied_leaves_others_in_force_when_closed)
{
    logging::close_trace_configuration(); // reverts the configuration of earlier tests
    logging::configurator::default_configurator().configure(L"level=500; stderr");
    logging::close_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 500U);
}

TEST_F(trace_configuration, tells_of_a_broken_text_in_one_line_and_goes_on)
{
    const test::log_capture log;
    set(L"level=300; stderr; rubbish");
    logging::apply_trace_configuration();
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 200U);
    EXPECT_EQ(lines[0].logger, "outlook");
    EXPECT_NE(lines[0].text.find("rubbish"), std::string::npos) << lines[0].text;
    logging::apply_trace_configuration();
    EXPECT_EQ(log.lines().size(), 1U) << "the text is remembered although it was refused";
}

TEST_F(trace_configuration, swallows_a_value_of_the_wrong_type)
{
    registry_.set_number(names::trace_key, names::trace_configuration, 1);
    const test::log_capture log;
    logging::apply_trace_configuration();
    EXPECT_TRUE(log.contains("error code 13"));
}

TEST_F(trace_configuration, is_silent_about_a_broken_text_when_nobody_listens)
{
    set(fresh(L"rubbish"));
    logging::apply_trace_configuration();
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
}

} // namespace
