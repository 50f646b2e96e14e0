#include "broker/kept_settings.h"
#include "broker/protected_file.h"
#include "broker_messages/broker_messages.h"
#include "settings/settings_blob.h"
#include "tests/events/event_recorder.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace broker {
namespace {

using record = test::event_recorder::record;
using fault = unusable_file::fault;

constexpr const wchar_t* kept = L"The settings that were read before remain in force.";
constexpr const wchar_t* none = L"There are no settings; mail add-ins keep those that they have.";

/// A file whose contents and faults the test sets.
class KeptSettings : public ::testing::Test
{
protected:
    void write(std::string text)
    {
        failure.reset();
        contents = std::move(text);
    }
    void write_port(int port) { write(R"({"ServerPort": {"value": )" + std::to_string(port) + R"(, "isSet": true}})"); }
    void fail(fault what, std::wstring why) { failure.emplace(what, std::move(why)); }

    /// Returns the port of the settings in force, nothing if there are no settings.
    std::optional<int> port()
    {
        const auto blob = settings.current();
        return blob ? std::optional<int>(DOVA::Settings::SettingsFromBlob(*blob).ServerPort.Effective()) : std::nullopt;
    }
    static record error(std::uint32_t id, const std::wstring& why, const wchar_t* then)
    {
        return {events::severity::error, id, {why, then}};
    }

    std::string contents;
    std::optional<unusable_file> failure;
    test::event_recorder events;
    kept_settings settings{[this] {
                               if (failure) {
                                   throw unusable_file(*failure);
                               }
                               return kept_settings::contents{L"file", contents};
                           },
                           events};
};

TEST_F(KeptSettings, AreThoseOfTheFileAtEachQuestion)
{
    write_port(1400);
    EXPECT_EQ(port(), 1400);
    write_port(1500);
    EXPECT_EQ(port(), 1500);
    write("{}");
    EXPECT_EQ(port(), 1345);
    EXPECT_TRUE(events.records().empty());
}

TEST_F(KeptSettings, RemainWhenTheFileBreaksAndTheFaultIsReportedOnce)
{
    write_port(1400);
    EXPECT_EQ(port(), 1400);
    write("{\"ServerPort\": 1}");
    EXPECT_EQ(port(), 1400);
    EXPECT_EQ(port(), 1400);
    EXPECT_EQ(events.records(), std::vector{error(broker_event_invalid, L"file: ServerPort: must be an object", kept)});
}

TEST_F(KeptSettings, AreTakenUpAgainWhenTheFileIsMended)
{
    write_port(1400);
    EXPECT_EQ(port(), 1400);
    write("{");
    EXPECT_EQ(port(), 1400);
    write_port(1500);
    EXPECT_EQ(port(), 1500);
    EXPECT_EQ(port(), 1500);
    ASSERT_EQ(events.records().size(), 2U);
    EXPECT_EQ(events.records()[1], (record{events::severity::information, broker_event_in_force, {L"file"}}));
    write("{"); // a new fault, although the same as the one that has ended
    EXPECT_EQ(port(), 1500);
    EXPECT_EQ(events.records().size(), 3U);
}

TEST_F(KeptSettings, RemainWhenTheFileIsRefused)
{
    write_port(1400);
    EXPECT_EQ(port(), 1400);
    fail(fault::refused, L"file: somebody may change it");
    EXPECT_EQ(port(), 1400);
    fail(fault::unreadable, L"file: it cannot be read");
    EXPECT_EQ(port(), 1400);
    EXPECT_EQ(events.records(), (std::vector{error(broker_event_refused, L"file: somebody may change it", kept),
                                             error(broker_event_unreadable, L"file: it cannot be read", kept)}));
}

TEST_F(KeptSettings, AreMissingUntilTheFileWasReadOnce)
{
    fail(fault::refused, L"why");
    EXPECT_EQ(port(), std::nullopt);
    EXPECT_EQ(port(), std::nullopt);
    EXPECT_EQ(events.records(), std::vector{error(broker_event_refused, L"why", none)});
    write_port(1400);
    EXPECT_EQ(port(), 1400);
}

TEST_F(KeptSettings, AreNotThoseOfABlob)
{
    const auto blob = DOVA::Settings::BlobFromSettings({});
    write(std::string(blob.begin(), blob.end()));
    EXPECT_EQ(port(), std::nullopt);
    ASSERT_EQ(events.records().size(), 1U);
    EXPECT_EQ(events.records()[0].id, broker_event_invalid);
}

TEST_F(KeptSettings, AreNotNestedDeeply)
{
    const auto nested = [](int depth) {
        return R"({"Uri": {"value": ")" + std::string(100, '[') + R"(\"[", "default": )" + std::string(depth, '[') +
               std::string(depth, ']') + "}}";
    };
    write(nested(14));
    EXPECT_EQ(port(), std::nullopt);
    write(nested(15));
    EXPECT_EQ(port(), std::nullopt);
    EXPECT_EQ(events.records(), (std::vector{error(broker_event_invalid, L"file: Uri.default: must be a text", none),
                                             error(broker_event_invalid, L"file: nested too deeply", none)}));
}

TEST_F(KeptSettings, AreReportedInShortWhenTheirTextIsLong)
{
    write("{\"" + std::string(100000, 'x') + "\": 1}");
    EXPECT_EQ(port(), std::nullopt);
    ASSERT_EQ(events.records().size(), 1U);
    EXPECT_LT(events.records()[0].texts[0].size(), 600U);
}

} // namespace
} // namespace broker
