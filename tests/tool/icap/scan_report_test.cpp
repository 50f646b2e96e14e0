#include "tests/tool/icap/icap_text.h"
#include "tool/icap/reply_readers.h"
#include "tool/icap/response_synthesis.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace {

icap::scan_record record(std::uint32_t flags)
{
    icap::scan_record made;
    made.path = "C:\\mail/inbox\\file.exe";
    made.name = "Some.Name";
    made.size = 4294967296;
    made.flags = flags;
    return made;
}

TEST(format_infection, tells_the_resolution_by_the_flags)
{
    EXPECT_EQ(icap::format_infection(record(0)), "Type=0;Resolution=2;Threat=Some.Name;");
    EXPECT_EQ(icap::format_infection(record(3)), "Type=0;Resolution=2;Threat=Some.Name;");
    EXPECT_EQ(icap::format_infection(record(4)), "Type=0;Resolution=1;Threat=Some.Name;");
    EXPECT_EQ(icap::format_infection(record(8)), "Type=0;Resolution=0;Threat=Some.Name;");
    EXPECT_EQ(icap::format_infection(record(12)), "Type=0;Resolution=0;Threat=Some.Name;");
    EXPECT_EQ(icap::format_infection(record(16 + 4)), "Type=0;Resolution=1;Threat=Some.Name;");
}

TEST(format_infection, is_taken_apart_by_the_reply_readers)
{
    const std::shared_ptr<icap::message> message = test::extract(
        test::reply(200, {"X-Infection-Found: " + icap::format_infection(record(4)), "Encapsulated: null-body=0"}));
    EXPECT_EQ(icap::get_infection_param(message, "Resolution"), "1");
    EXPECT_EQ(icap::get_infection_param(message, "Threat"), "Some.Name");
}

TEST(format_scan_state, words_each_state)
{
    EXPECT_EQ(icap::format_scan_state(1), "scanned");
    EXPECT_EQ(icap::format_scan_state(16), "not scanned");
    EXPECT_EQ(icap::format_scan_state(17), "not scanned");
    EXPECT_EQ(icap::format_scan_state(32), "not scanned password protected");
    EXPECT_EQ(icap::format_scan_state(33), "not scanned password protected");
    for (const std::uint32_t value : {0U, 2U, 15U, 18U, 31U, 34U, 0xFFFFFFFFU}) {
        EXPECT_EQ(icap::format_scan_state(value), "undefined") << value;
    }
}

TEST(format_violations, prints_five_lines)
{
    EXPECT_EQ(icap::format_violations(record(4)), "1\r\n\t/file.exe\r\n\tSome.Name\r\n\t4294967296\r\n\t1\r\n");
}

TEST(format_violations, takes_the_last_component_behind_either_separator)
{
    icap::scan_record made = record(0);
    for (const char* path : {"name", "a/name", "a\\name", "a/b\\name", "a\\b/name", "/name"}) {
        made.path = path;
        EXPECT_EQ(icap::format_violations(made).substr(0, 10), "1\r\n\t/name\r") << path;
    }
    made.path = "ends/";
    EXPECT_EQ(icap::format_violations(made).substr(0, 7), "1\r\n\t/\r\n");
}

TEST(format_date, writes_utc_time_and_the_local_bias)
{
    EXPECT_EQ(icap::format_date(0, 0), "Thu, 01 Jan 1970 00:00:00 -0000");
    EXPECT_EQ(icap::format_date(951782400, -120), "Tue, 29 Feb 2000 00:00:00 +0200");
    EXPECT_EQ(icap::format_date(951782399, 330), "Mon, 28 Feb 2000 23:59:59 -0530");
    EXPECT_EQ(icap::format_date(951782399, -345), "Mon, 28 Feb 2000 23:59:59 +0545");
    EXPECT_EQ(icap::format_date(0, -720), "Thu, 01 Jan 1970 00:00:00 +1200");
    EXPECT_EQ(icap::format_date(0, 9), "Thu, 01 Jan 1970 00:00:00 -0009");
}

TEST(format_date, begins_anew_for_a_time_that_the_calendar_does_not_hold)
{
    EXPECT_EQ(icap::format_date(std::numeric_limits<std::time_t>::max(), 0), "Thu, 01 Jan 1970 00:00:00 -0000");
}

TEST(format_date, is_of_now)
{
    const std::time_t before = std::time(nullptr);
    const std::string text = icap::format_date();
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t second = before; second <= after && !found; ++second) {
        found = text == icap::format_date(second, icap::time_zone_bias());
    }
    EXPECT_TRUE(found) << text;
}

TEST(time_zone_bias, adds_the_part_of_the_state)
{
    icap::time_zone_state zone;
    zone.bias = -60;
    zone.standard_bias = 5;
    zone.daylight_bias = -55;
    zone.id = 0;
    EXPECT_EQ(icap::time_zone_bias(zone), -60);
    zone.id = 1;
    EXPECT_EQ(icap::time_zone_bias(zone), -55);
    zone.id = 2;
    EXPECT_EQ(icap::time_zone_bias(zone), -115);
}

TEST(time_zone_bias, raises_for_an_unknown_state)
{
    for (const std::uint32_t id : {3U, 0xFFFFFFFFU}) {
        icap::time_zone_state zone;
        zone.id = id;
        EXPECT_EQ(test::raised<std::runtime_error>([&] { (void)icap::time_zone_bias(zone); }),
                  "get time zone bias: invalid time zone id");
    }
}

TEST(time_zone_bias, is_the_difference_of_utc_and_local_time)
{
    const std::time_t now = std::time(nullptr);
    std::tm utc = *std::gmtime(&now);
    const std::tm local = *std::localtime(&now);
    utc.tm_isdst = local.tm_isdst;
    const double seconds = std::difftime(std::mktime(&utc), now);
    EXPECT_EQ(icap::time_zone_bias(), static_cast<int>(seconds / 60));
}

} // namespace
