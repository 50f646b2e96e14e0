#include "settings/newest_layout.h"
#include "settings/settings_blob.h"
#include "tests/extlib/cctool/blob_bytes.h"
#include "tests/settings/record_changes.h"
#include "tests/support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <optional>

namespace DOVA::Settings::test {
namespace {

using cctool::Serialization::BlobReader;
using cctool::Serialization::Bytes;
using cctool::Serialization::test::BlobOf;
using cctool::Serialization::test::Parse;

/// Returns the record, or nothing for a blob of another layout.
std::optional<WebTrafficMonitorSettings> InNewestLayout(std::string_view blob)
{
    BlobReader reader(blob.data(), blob.size());
    std::uint64_t entries = 0;
    WebTrafficMonitorSettings settings;
    if (reader.ReadCount(entries) && ReadNewestLayout(reader, entries, settings)) {
        return settings;
    }
    return std::nullopt;
}

std::string_view TextOf(const Bytes& blob)
{
    return {reinterpret_cast<const char*>(blob.data()), blob.size()};
}

/// Returns the record that the tree yields, or nothing and the error.
std::optional<WebTrafficMonitorSettings> ByTheTree(std::string_view blob, std::string& error)
{
    try {
        WebTrafficMonitorSettings settings;
        Deserialize(settings, *Parse(blob));
        return settings;
    } catch (const std::exception& failure) {
        error = failure.what();
        return std::nullopt;
    }
}

TEST(NewestLayout, IsWhatIsWritten)
{
    EXPECT_TRUE(InNewestLayout(TextOf(BlobFromSettings({}))) == WebTrafficMonitorSettings());
    EXPECT_TRUE(InNewestLayout(TextOf(BlobFromSettings(ChangedSettings()))) == ChangedSettings());
}

TEST(NewestLayout, MayHaveALaterMinorAndBytesBehindIt)
{
    const auto tree = Parse(BlobFromSettings(ChangedSettings()));
    tree->SetVersion(cctool::Serialization::version_info_tag, {1, 900});
    Bytes blob = BlobOf(*tree);
    blob.insert(blob.end(), {1, 2, 3});
    EXPECT_TRUE(InNewestLayout(TextOf(blob)) == ChangedSettings());
}

TEST(NewestLayout, IsNotAnEarlierOneOrOneWithMore)
{
    const auto is_refused = [](const auto& change) {
        const auto tree = Parse(BlobFromSettings(ChangedSettings()));
        change(*tree);
        const Bytes blob = BlobOf(*tree);
        EXPECT_FALSE(InNewestLayout(TextOf(blob)).has_value());
    };
    using Tree = cctool::Serialization::IContainer;
    const auto version_tag = cctool::Serialization::version_info_tag;
    is_refused([&](Tree& tree) { tree.SetVersion(version_tag, {1, 8}); });
    is_refused([&](Tree& tree) { tree.SetVersion(version_tag, {2, 9}); });
    is_refused([&](Tree& tree) { tree.SetVersion(version_tag, {0, 9}); });
    is_refused([&](Tree& tree) { tree.SetVersion({1, nullptr}, {1, 9}); });
    is_refused([&](Tree& tree) { tree.Set(15, true); });
    is_refused([&](Tree& tree) { tree.Set(49, true); });
    is_refused([&](Tree& tree) { tree.Set(0xFFFFFFFF, true); });
    is_refused([&](Tree& tree) { tree.GetContainer({1, nullptr})->SetVersion(version_tag, {1, 0}); });
    is_refused([&](Tree& tree) {
        const auto version = tree.AddArray(version_tag.id, 3);
        for (std::size_t part = 0; part < 3; ++part) {
            version->Set(part, std::uint16_t{1});
        }
    });
}

/// Both ways to read must agree about every blob that the fast one accepts, and the tree decides about all others.
TEST(NewestLayout, OfABlobWithAChangedByteIsReadAsByTheTree)
{
    const Bytes blob = BlobFromSettings(ChangedSettings());
    std::size_t accepted = 0;
    for (std::size_t place = 0; place < blob.size(); ++place) {
        std::string text(TextOf(blob));
        text[place] = static_cast<char>(text[place] ^ (place % 2 == 0 ? 0x01 : 0x80));
        const ::test::guarded_buffer buffer(text);
        std::string error;
        const auto expected = ByTheTree(buffer.view(), error);
        const auto read = InNewestLayout(buffer.view());
        accepted += read.has_value() ? 1 : 0;
        EXPECT_TRUE(!read.has_value() || read == expected) << place;
        try {
            EXPECT_TRUE(SettingsFromBlob({reinterpret_cast<const std::uint8_t*>(buffer.view().data()), text.size()}) ==
                        expected)
                << place;
        } catch (const std::exception& failure) {
            EXPECT_EQ(error, failure.what()) << place;
        }
    }
    EXPECT_GT(accepted, blob.size() / 10) << "texts and numbers may change";
}

} // namespace
} // namespace DOVA::Settings::test
