#include "doctor/report.h"
#include "tests/doctor/findings.h"

#include <nlohmann/json.hpp>

namespace report_test {

using namespace doctor;

std::vector<row> rows_of(const std::vector<row_state>& states)
{
    std::vector<row> rows;
    for (const row_state state : states) {
        rows.push_back({"a", {state, "found", ""}, 0});
    }
    return rows;
}

TEST(doctor_report, has_an_exit_status_for_monitors)
{
    using enum row_state;
    EXPECT_EQ(status_of(rows_of({ok, not_applicable, ok})), 0);
    EXPECT_EQ(status_of(rows_of({not_applicable})), 0);
    EXPECT_EQ(status_of(rows_of({ok, warning, not_applicable})), 1);
    EXPECT_EQ(status_of(rows_of({failed, warning, ok})), 2);
    EXPECT_EQ(status_of({}), 3);
}

TEST(doctor_report, breaks_sentences_at_the_width_of_the_terminal)
{
    const std::vector<row> rows{{"port", ok("one two three four five"), 0},
                                {"test-object", failed("six", "seven eight nine ten eleven"), 0}};
    EXPECT_EQ(table_text(rows, 47), "ROW         STATE          FOUND\n"
                                    "port        ok             one two three four\n"
                                    "                           five\n"
                                    "test-object failed         six\n"
                                    "                           To do: seven eight\n"
                                    "                           nine ten eleven\n");
}

TEST(doctor_report, keeps_what_others_wrote_from_the_terminal)
{
    const std::string text = table_text({{"port", ok("a\x1B[2J\xFF z"), 0}}, 100);
    EXPECT_EQ(text, "ROW  STATE          FOUND\nport ok             a?[2J? z\n");
}

TEST(doctor_report, has_stable_names_in_json)
{
    const std::string text = json_text({{"port", ok("open"), 3},
                                        {"unit", not_applicable("none"), 4},
                                        {"engines", warning("old", "update"), 5},
                                        {"options", failed("bad \xFF", "start"), 6}});
    EXPECT_EQ(text, R"({"state":"failed","exit_status":2,"rows":[)"
                    R"({"name":"port","state":"ok","found":"open","remedy":"","elapsed_ms":3},)"
                    R"({"name":"unit","state":"not_applicable","found":"none","remedy":"","elapsed_ms":4},)"
                    R"({"name":"engines","state":"warning","found":"old","remedy":"update","elapsed_ms":5},)"
                    "{\"name\":\"options\",\"state\":\"failed\",\"found\":\"bad \xEF\xBF\xBD\",\"remedy\":\"start\","
                    "\"elapsed_ms\":6}]}\n");
}

} // namespace report_test
