// The steps of a disconnection in their order, and the cookie that denotes no connection.

#include "outlook/qdmailprotect/com/connect.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"
#include "tests/outlook/qdmailprotect/com/support/odd_application.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>
#include <utility>

namespace {

using test::odd_application;
using texts = std::vector<std::string>;

/// Notes each line of the log, and whether the localisation library and a converter's session exist at that time.
class state_watch final : public logging::line_sink
{
public:
    state_watch(const LocalisedStrings& strings, const test::scripted_converter& converter)
        : strings_(strings)
        , converter_(converter)
    {}
    texts lines;

    void write(logging::priority::level_type, std::string_view, std::string_view text) override
    {
        lines.push_back(std::string(text) + (converter_.open_sessions != 0 ? ", converter" : "") +
                        (strings_.HasLibrary() ? ", library" : ""));
    }

private:
    const LocalisedStrings& strings_;
    const test::scripted_converter& converter_;
};

class disconnection : public test::com_fixture
{
protected:
    disconnection()
    {
        application->advise = S_OK;
        item->advise = S_OK;
    }
    void connect_to_application() { ASSERT_EQ(connect_to(application.get()), S_OK); }
    /// Returns the number of connections requested so far and begins to count anew.
    int advises() { return std::exchange(application->advises, 0); }

    ComPtr<odd_application> application = MakeCom<odd_application>();
    ComPtr<odd_application> item = MakeCom<odd_application>();
};

TEST_F(disconnection, stops_the_parts_in_their_order)
{
    environment->module_path = (std::filesystem::path(SATELLITE_FILE).parent_path() / L"any.dll").wstring();
    connect_to_application();
    ASSERT_TRUE(strings->HasLibrary());
    application->fire(DispIdItemLoad, item.get());
    ASSERT_EQ(item->advises, 1);
    item->on_unadvise = [](DWORD) { LOG_LINE(logging::wpx_log(), 500, "item unadvised"); };
    application->on_unadvise = [](DWORD) { LOG_LINE(logging::wpx_log(), 500, "application unadvised"); };
    const auto watch = std::make_shared<state_watch>(*strings, converter);
    logging::log_manager::default_manager().add_sink(watch, 500);
    disconnect();
    logging::log_manager::default_manager().remove_sink(watch);
    application->on_unadvise = nullptr;
    EXPECT_EQ(watch->lines, (texts{
                                "-===  Disconnecting the Add-in, converter, library",
                                "link Stop, converter, library",
                                "MAPIUninitialize, library",
                                "item unadvised, library",
                                "application unadvised, library",
                                "-===  Disconnection finished",
                            }));
}

TEST_F(disconnection, leaves_the_cookie_fefefefe)
{
    std::vector<DWORD> ended;
    connect_to_application();
    application->on_unadvise = [&ended](DWORD cookie) { ended.push_back(cookie); };
    disconnect();
    disconnect();
    application->on_unadvise = nullptr;
    EXPECT_EQ(ended, (std::vector<DWORD>{7, 0xFEFEFEFE}));
}

TEST_F(disconnection, is_due_for_every_cookie_but_fefefefe)
{
    for (const DWORD cookie : {0UL, 1UL, 0xFEFEFEFDUL, 0xFFFFFFFFUL}) {
        application->cookie = cookie;
        connect_to_application();
        EXPECT_EQ(connect_to(application.get()), E_FAIL) << cookie;
        EXPECT_EQ(advises(), 1);
        disconnect();
        --environment->initialized; // the second initialization of MAPI has one end only, because there is one flag
    }
    application->cookie = 0xFEFEFEFE;
    connect_to_application();
    EXPECT_EQ(connect_to(application.get()), S_OK) << "as one that was never made";
    EXPECT_EQ(advises(), 2);
    --environment->initialized;
}

} // namespace
