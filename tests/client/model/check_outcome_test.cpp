#include "client/model/check_outcome.h"
#include "tests/outlook/qdmailprotect/link/link_fixture.h"

#include <stdexcept>

namespace host::test {
namespace {

/// The lines of a real link, as the trace has them.
class refused_connection : public ::test::link_fixture
{
protected:
    void hear_all()
    {
        for (const auto& line : log.lines()) {
            outcome.hear({line.level, line.logger, line.text});
        }
    }
    check_outcome outcome;
};

TEST_F(refused_connection, is_known_by_the_line_of_the_link_whatever_its_reason)
{
    pool->on_query = [] { throw std::runtime_error("connection refused"); };
    link->CheckHealth();
    ASSERT_TRUE(log.contains("Scan server is unavailableconnection refused"));
    hear_all();
    EXPECT_TRUE(outcome.refused());
    outcome.take();
    EXPECT_TRUE(outcome.refused()) << "once is enough for the whole run";
}

TEST_F(refused_connection, is_not_seen_where_a_connection_was_had)
{
    link->CheckHealth();
    ASSERT_TRUE(log.contains("Check ICAP server health..."));
    hear_all();
    EXPECT_FALSE(outcome.refused());
}

TEST_F(refused_connection, is_known_by_the_line_of_the_check_and_no_other_logger)
{
    outcome.hear({200, "wpx", "No ICAP server available"});
    outcome.hear({200, "wpx", "Scan server is unavailable"});
    EXPECT_FALSE(outcome.refused());
    outcome.hear({200, "outlook", "No ICAP server available"});
    EXPECT_TRUE(outcome.refused());
}

} // namespace
} // namespace host::test
