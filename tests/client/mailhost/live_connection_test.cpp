#include "tests/client/mailhost/live_addin.h"
#include "tests/support/process_resources.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using ::test::process_resources;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class LiveConnection : public live_addin
{};

TEST_F(LiveConnection, BeginsAndEndsAsAClientWantsIt)
{
    connect();
    EXPECT_TRUE(module_in_use());
    EXPECT_EQ(1U, program().subscriptions());
    const auto begun = only(take_lines(), "400 outlook");
    ASSERT_EQ(5U, begun.size());
    EXPECT_EQ("400 outlook -===  Initializing the Add-in", begun[0]);
    EXPECT_EQ("400 outlook AppName: Outlook, AppVer: 16.0.4266.1001", begun[1]);
    EXPECT_THAT(begun[2], StartsWith("400 outlook Current user: "));
    EXPECT_THAT(begun[2], HasSubstr(", SID: S-1-"));
    EXPECT_EQ("400 outlook -===  Add-in initialization succeeded", begun[3]);
    EXPECT_EQ("400 outlook Add-in startup complete", begun[4]);
    const ComPtr<application> kept(&program());
    disconnect();
    EXPECT_EQ(0U, kept->subscriptions());
    const auto ended = take_lines();
    EXPECT_EQ("400 outlook -===  Disconnecting the Add-in", ended.front());
    EXPECT_EQ("400 outlook -===  Disconnection finished", ended.back());
}

TEST_F(LiveConnection, LogsNoErrorWhenEverythingIsThere)
{
    connect();
    EXPECT_THAT(only(take_lines(), "200"), IsEmpty());
}

TEST_F(LiveConnection, IsRefusedToAClientThatIsTooOld)
{
    for (const wchar_t* version : {L"13.9", L"12.0.1", L"9.0", L"14", L"1600"}) {
        try {
            connect(version);
            FAIL() << version;
        } catch (const addin_failure& failure) {
            EXPECT_EQ(E_FAIL, failure.result());
        }
        EXPECT_THAT(only(take_lines(), "200"), ElementsAre("200 outlook This Outlook version is not supported",
                                                           "200 outlook Initialization failure"));
    }
}

TEST_F(LiveConnection, IsGivenToEveryClientFromVersionFourteen)
{
    for (const wchar_t* version : {L"14.0.0.0", L"15.0.4420.1017", L"16.0.0.0", L"14.0"}) {
        EXPECT_NO_THROW(connect(version)) << version;
        disconnect();
        EXPECT_THAT(only(take_lines(), "200"), IsEmpty());
    }
}

TEST_F(LiveConnection, LeavesNoThreadAndNoHandleBehind)
{
    start_service();
    const auto once = [this] {
        connect();
        EXPECT_EQ(ScanResult::Clean, open(plain_message("Nothing of note.")).verdict);
        disconnect();
    };
    once(); // allocations that the system keeps after the first use
    once();
    const auto before = process_resources::now();
    for (int i = 0; i < 10; ++i) {
        once();
    }
    const auto after = process_resources::settled(before);
    EXPECT_LE(after.threads, before.threads);
    EXPECT_LE(after.handles, before.handles);
}

TEST_F(LiveConnection, LetsTheModuleGoAHundredTimes)
{
    const auto once = [this] {
        connect();
        disconnect();
        ASSERT_TRUE(GetModuleHandleW(L"postwarden.dll"));
        ASSERT_FALSE(module_in_use());
        constexpr int most_loads = 100; // each creation of an add-in has loaded it
        for (int i = 0; i < most_loads && GetModuleHandleW(L"postwarden.dll"); ++i) {
            FreeLibrary(GetModuleHandleW(L"postwarden.dll"));
        }
        ASSERT_FALSE(GetModuleHandleW(L"postwarden.dll"));
    };
    for (int i = 0; i < 3; ++i) {
        once();
    }
    const auto before = process_resources::now();
    for (int i = 0; i < 100; ++i) {
        once();
    }
    const auto after = process_resources::settled(before);
    EXPECT_LE(after.threads, before.threads);
    EXPECT_LE(after.handles, before.handles);
}

} // namespace
} // namespace host::test
