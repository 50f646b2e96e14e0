// The records that a service leaves in the event log.

#include "service/manager/service_events.h"
#include "service_messages/service_messages.h"
#include "tests/events/event_recorder.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace service_events_test {

using events::severity;
using testing::ElementsAre;

class service_events : public testing::Test
{
protected:
    /// Returns the texts of all records as a viewer of the event log shows them, with the module's message table.
    [[nodiscard]] std::vector<std::wstring> shown() const
    {
        std::vector<std::wstring> result;
        for (const auto& record : log->records()) {
            std::vector<DWORD_PTR> arguments;
            for (const std::wstring& text : record.texts) {
                arguments.push_back(reinterpret_cast<DWORD_PTR>(text.c_str()));
            }
            std::vector<wchar_t> text(1024);
            const DWORD size = ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr,
                                                record.id, 0, text.data(), static_cast<DWORD>(text.size()),
                                                reinterpret_cast<va_list*>(arguments.data()));
            result.emplace_back(text.data(), size);
        }
        return result;
    }

    std::shared_ptr<test::event_recorder> log = std::make_shared<test::event_recorder>();
    manager::service_events happened{log};
};

TEST_F(service_events, of_a_run_have_the_port_and_the_kinds_of_the_engines_but_no_address)
{
    happened.started(1345, {"clamd:tcp:localhost:3310,icap://farm.example:1344/avscan", "builtin"});
    happened.stopped();
    EXPECT_THAT(shown(),
                ElementsAre(L"The service accepts connections on port 1345 of this machine. Engines: clamd or icap, "
                            L"builtin.\r\n",
                            L"The service has ended.\r\n"));
}

TEST_F(service_events, of_failures_have_the_reason)
{
    happened.failed({"the first", "der zweite gro\xC3\x9F"});
    happened.reloaded();
    happened.reload_refused("port: \xE4");
    EXPECT_EQ(log->records().at(0).texts.at(0), L"the first\r\nder zweite gro\u00DF");
    EXPECT_EQ(log->records().at(2).texts.at(0).substr(0, 6), L"port: ");
    EXPECT_EQ(log->records().at(2).texts.at(0).size(), 7U);
    EXPECT_EQ(shown().at(0), L"The service could not run: the first\r\nder zweite gro\u00DF\r\n");
    EXPECT_EQ(shown().at(1), L"The service has read its configuration again.\r\n");
}

TEST_F(service_events, have_numbers_that_never_change)
{
    happened.started(1, {"builtin"});
    happened.stopped();
    happened.failed({"x"});
    happened.reloaded();
    happened.reload_refused("x");
    happened.engine_unreachable();
    happened.engine_reachable();
    happened.engine_part_unreachable();
    happened.all_engine_parts_reachable();
    happened.full();
    const std::vector<severity> kinds{
        severity::information, severity::information, severity::error,   severity::information, severity::warning,
        severity::error,       severity::information, severity::warning, severity::information, severity::warning};
    const auto records = log->records();
    const auto texts = shown();
    ASSERT_EQ(records.size(), kinds.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].id & 0xFFFFU, i + 1);
        EXPECT_EQ(records[i].kind, kinds[i]) << i;
        // The severity of the message is that of the record.
        EXPECT_EQ(records[i].id >> 30U, 1U + static_cast<unsigned>(kinds[i])) << i;
        EXPECT_GT(texts[i].size(), 20U) << i;
    }
    EXPECT_EQ(std::set<std::wstring>(texts.begin(), texts.end()).size(), texts.size());
}

TEST(engine_kinds, are_those_of_all_engines_without_their_places)
{
    EXPECT_EQ(manager::engine_kinds({"builtin"}), "builtin");
    EXPECT_EQ(manager::engine_kinds({"icap://farm/a,clamd:tcp:localhost:1", "clamd:unix:/x"}), "icap or clamd, clamd");
    EXPECT_EQ(manager::engine_kinds({}), "");
}

} // namespace service_events_test
