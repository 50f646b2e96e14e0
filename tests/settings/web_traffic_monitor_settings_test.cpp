#include "settings/web_traffic_monitor_settings.h"

#include <gtest/gtest.h>

namespace {

using DOVA::Settings::Setting;
using DOVA::Settings::WebTrafficMonitorSettings;

TEST(setting, counts_its_value_only_when_it_is_set)
{
    EXPECT_TRUE((Setting<bool>{true, false, false}).Effective());
    EXPECT_FALSE((Setting<bool>{true, false, true}).Effective());
    EXPECT_EQ((Setting<std::wstring>{L"default", {}, true}).Effective(), std::wstring());
    EXPECT_EQ((Setting<std::wstring>{L"default", {}, false}).Effective(), L"default");
}

TEST(setting, is_unset_and_zero_when_fresh)
{
    const Setting<int> fresh;
    EXPECT_EQ(fresh.default_, 0);
    EXPECT_EQ(fresh.value, 0);
    EXPECT_FALSE(fresh.isSet);
}

TEST(setting, is_equal_only_with_all_three_parts)
{
    const Setting<int> setting{1, 2, true};
    EXPECT_EQ(setting, (Setting<int>{1, 2, true}));
    EXPECT_NE(setting, (Setting<int>{9, 2, true})) << "a change of a default counts";
    EXPECT_NE(setting, (Setting<int>{1, 9, true}));
    EXPECT_NE(setting, (Setting<int>{1, 2, false}));
}

TEST(web_traffic_monitor_settings, have_their_defaults)
{
    const WebTrafficMonitorSettings settings;
    EXPECT_EQ(settings.UseSizeLimit, (Setting<bool>{true, false, false}));
    EXPECT_EQ(settings.SizeLimit, (Setting<std::uint32_t>{20971520, 0, false}));
    EXPECT_EQ(settings.ServerPort, (Setting<std::uint32_t>{1345, 0, false}));
    EXPECT_EQ(settings.Uri, (Setting<std::wstring>{L"webscan", {}, false}));
    EXPECT_EQ(settings.UseOutlookPlugin, (Setting<bool>{true, false, false}));
    EXPECT_EQ(settings.BlockExecInAttach, (Setting<bool>{true, false, false}));
}

TEST(web_traffic_monitor_settings, differ_by_any_field)
{
    const WebTrafficMonitorSettings settings;
    EXPECT_EQ(settings, WebTrafficMonitorSettings());
    const auto changed = [&](auto change) {
        WebTrafficMonitorSettings other;
        change(other);
        return other != settings;
    };
    EXPECT_TRUE(changed([](auto& other) { other.UseSizeLimit.isSet = true; }));
    EXPECT_TRUE(changed([](auto& other) { other.SizeLimit.value = 1; }));
    EXPECT_TRUE(changed([](auto& other) { other.ServerPort.default_ = 1; }));
    EXPECT_TRUE(changed([](auto& other) { other.Uri.value = L"/"; }));
    EXPECT_TRUE(changed([](auto& other) { other.UseOutlookPlugin.value = true; }));
    EXPECT_TRUE(changed([](auto& other) { other.BlockExecInAttach.default_ = false; }));
}

} // namespace
