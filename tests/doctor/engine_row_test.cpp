#include "doctor/engine_row.h"
#include "tests/doctor/findings.h"

#include <stdexcept>

namespace engine_row_test {

using namespace doctor;

constexpr std::int64_t now = 1'800'000'000;
constexpr std::int64_t hour = 3600;
constexpr std::int64_t day = 24 * hour;

const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n";

TEST(engine_row, is_ok_with_new_signatures)
{
    const std::vector<engine_figures> engines{{"clamd", "1", true, "V/1", now - 5 * hour},
                                              {"icap", "2", true, "\"tag\"", {}}};
    EXPECT_THAT(engines_by_metrics(engines, now, 7),
                is_finding(row_state::ok, "clamd V/1 (signatures 5 hours old); icap \"tag\"", ""));
}

TEST(engine_row, warns_of_old_signatures)
{
    const auto at_age = [](std::int64_t age) {
        return engines_by_metrics({{"clamd", "1", true, "V/1", now - age}}, now, 7);
    };
    EXPECT_THAT(at_age(7 * day), is_finding(row_state::ok, "7 days old", ""));
    EXPECT_THAT(at_age(7 * day + 1), is_finding(row_state::warning, "7 days old", "Update the signatures"));
    EXPECT_THAT(engines_by_metrics({{"clamd", "1", true, "V/1", now - 9 * day}}, now, 9),
                is_finding(row_state::ok, "9 days old", ""));
    EXPECT_THAT(at_age(-hour), is_finding(row_state::ok, "0 hours old", "")); // a clock that is slow
}

TEST(engine_row, fails_if_no_engine_can_judge)
{
    EXPECT_THAT(engines_by_metrics({{"clamd", "1", false, "V/1", now}}, now, 7),
                is_finding(row_state::failed, "clamd V/1 (cannot judge)", "start them"));
    EXPECT_THAT(engines_by_metrics({}, now, 7), is_finding(row_state::failed, "no engine", "start them"));
}

TEST(engine_row, warns_if_one_of_several_cannot_judge)
{
    EXPECT_THAT(engines_by_metrics({{"clamd", "1", true, "", {}}, {"icap", "2", false, "", {}}}, now, 7),
                is_finding(row_state::warning, "clamd; icap (cannot judge)", "Start the engines"));
}

TEST(engine_row, warns_of_the_builtin_engine_alone)
{
    EXPECT_THAT(engines_by_metrics({{"builtin", "1", true, "", {}}}, now, 7),
                is_finding(row_state::warning, "builtin", "--engine"));
    EXPECT_THAT(engines_by_metrics({{"builtin", "1", true, "", {}}, {"clamd", "2", true, "", {}}}, now, 7),
                is_finding(row_state::ok, "builtin; clamd", ""));
}

TEST(metrics_page, contains_the_engines)
{
    const auto engines = engines_in(
        head + "# HELP x\n"
               "postwarden_service_engine_up{engine=\"clamd\",number=\"1\"} 1\r\n"
               "postwarden_service_engine_up{engine=\"icap\",number=\"2\"} 0\n"
               "postwarden_service_engine_info{engine=\"icap\",number=\"2\",version=\"a\\\"b\\\\c\\nd, }\"} 1\n"
               "postwarden_service_engine_signatures_timestamp_seconds{engine=\"clamd\",number=\"1\"} 17\n"
               "postwarden_service_connections 3\n");
    ASSERT_EQ(engines.size(), 2U);
    EXPECT_EQ(engines[0].name, "clamd");
    EXPECT_TRUE(engines[0].up);
    EXPECT_EQ(engines[0].version, "");
    EXPECT_EQ(engines[0].signatures, 17);
    EXPECT_EQ(engines[1].name, "icap");
    EXPECT_FALSE(engines[1].up);
    EXPECT_EQ(engines[1].version, "a\"b\\c\nd, }");
    EXPECT_EQ(engines[1].signatures, std::nullopt);
}

TEST(metrics_page, is_no_other_answer)
{
    for (const std::string& text :
         {std::string(), std::string("ICAP/1.0 200 OK\r\n\r\n"), std::string("HTTP/1.1 404 Not Found\r\n\r\n"),
          std::string("HTTP/1.1 200 OK\r\n")}) {
        EXPECT_THROW((void)engines_in(text), std::runtime_error) << text;
    }
}

TEST(metrics_page, may_contain_broken_lines)
{
    const std::string name = "postwarden_service_engine_up";
    for (const std::string& line : {name, name + "{", name + "{engine=\"a\",number=\"1\"", name + "{engine=\"a",
                                    name + "{engine=\"a\",number=\"1\"}", name + "{engine} 1", name + " 1",
                                    name + "{engine=\"a\"} 1", name + "{engine=\"a\\"}) {
        EXPECT_TRUE(engines_in(head + line).empty()) << line;
    }
    const auto engines =
        engines_in(head + "postwarden_service_engine_signatures_timestamp_seconds{engine=\"a\",number=\"1\"} 1.5e9\n");
    EXPECT_EQ(engines.at(0).signatures, std::nullopt);
}

} // namespace engine_row_test
