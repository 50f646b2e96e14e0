#include "settings/settings_blob.h"
#include "settings/task_settings_ser.h"
#include "tests/extlib/cctool/blob_bytes.h"
#include "tests/settings/record_changes.h"
#include "tests/support/every_split.h"
#include "tests/support/failing_new.h"

#include <gtest/gtest.h>

#include <functional>

namespace DOVA::Settings::test {
namespace {

using cctool::Serialization::AccessFailure;
using cctool::Serialization::Bytes;
using cctool::Serialization::ContainerElementAccessError;
using cctool::Serialization::CreateEmptyContainer;
using cctool::Serialization::IArray;
using cctool::Serialization::IContainer;
using cctool::Serialization::IncompatibleVersionError;
using cctool::Serialization::InvalidDataError;
using cctool::Serialization::TagId;
using cctool::Serialization::version_info_tag;
using cctool::Serialization::test::BlobOf;
using cctool::Serialization::test::FromHex;
using cctool::Serialization::test::Parse;

/// Returns a blob of an older or newer minor version of the monitor's layout.
Bytes BlobOfMinor(const WebTrafficMonitorSettings& settings, std::uint16_t minor)
{
    const auto tree = CreateEmptyContainer();
    Serialize(settings, *tree, minor);
    return BlobOf(*tree);
}

TEST(SettingsBlob, ComesBackAsAnEqualRecord)
{
    EXPECT_TRUE(SettingsFromBlob(BlobFromSettings({})) == WebTrafficMonitorSettings());
    const WebTrafficMonitorSettings settings = ChangedSettings();
    EXPECT_TRUE(SettingsFromBlob(BlobFromSettings(settings)) == settings);
}

TEST(SettingsBlob, OpensWithTheVersionAndTheBase)
{
    const Bytes blob = BlobFromSettings({});
    const Bytes beginning = FromHex("0000000000000030"                                                // entries
                                    "00000001 0000000e 000000000000000b"                              // Base
                                    "00000001 0000000d 0000000000000003"                              // a setting
                                    "0000000b 01 0000000b 00 0000000b 00"                             // its parts
                                    "00000002 0000000d 0000000000000003"                              //
                                    "00000005 00000001 00000005 00000000 0000000b 00"                 //
                                    "00000003 0000000d 0000000000000003"                              // a list
                                    "0000000d 0000000000000000 0000000d 0000000000000000 0000000b 00" //
    );
    ASSERT_GT(blob.size(), beginning.size());
    EXPECT_EQ(beginning, Bytes(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(beginning.size())));
    const Bytes end = FromHex("0000ff00 0000000d 0000000000000002 00000004 0001 00000004 0009"); // the highest tag
    EXPECT_EQ(end, Bytes(blob.end() - static_cast<std::ptrdiff_t>(end.size()), blob.end()));
}

/// Sets a setting of two equal parts, as a broker would.
template <typename T>
void Put(IContainer& tree, std::uint32_t tag, const T& standard, const T& value, bool is_set)
{
    const auto parts = tree.AddArray(tag, 3);
    parts->Set(0, standard);
    parts->Set(1, value);
    parts->Set(2, is_set);
}

void PutVersion(IContainer& tree, std::uint16_t major, std::uint16_t minor)
{
    tree.SetVersion(version_info_tag, {major, minor});
}

void PutAction(IContainer& tree, std::int32_t type)
{
    PutVersion(tree, 1, 0);
    tree.Set(1, type);
}

/// Sets a list setting with an empty default and a value of one element, and returns that element's array.
std::shared_ptr<IArray> PutList(IContainer& tree, std::uint32_t tag)
{
    const auto parts = tree.AddArray(tag, 3);
    parts->AddArray(0, 0);
    parts->Set(2, true);
    return parts->AddArray(1, 1);
}

/// Returns a tree of minor 0, set tag by tag.
std::shared_ptr<cctool::Serialization::IBinaryContainer> OldestTree()
{
    auto tree = CreateEmptyContainer();
    PutVersion(*tree, 1, 0);
    const auto base = tree->AddContainer(1);
    PutVersion(*base, 1, 0);
    Put(*base, 1, false, true, true);
    Put(*base, 2, std::int32_t{5}, std::int32_t{6}, true);
    PutList(*base, 3)->Set(0, std::wstring(L"*.exe"));
    for (const std::uint32_t tag : {4U, 5U, 6U, 7U}) {
        Put(*base, tag, false, false, false);
    }
    Put(*base, 8, std::uint32_t{61}, std::uint32_t{62}, false);
    for (const std::uint32_t tag : {2U, 3U, 4U, 5U, 6U, 13U}) {
        Put(*tree, tag, false, true, false);
    }
    for (const std::uint32_t tag : {7U, 8U}) {
        const auto parts = tree->AddArray(tag, 3);
        PutAction(*parts->AddContainer(0), 20 + static_cast<std::int32_t>(tag));
        PutAction(*parts->AddContainer(1), 30 + static_cast<std::int32_t>(tag));
        parts->Set(2, true);
    }
    Put(*tree, 9, true, true, true);
    const auto on_verdict = PutList(*tree, 10)->AddContainer(0);
    PutVersion(*on_verdict, 1, 0);
    on_verdict->Set(1, std::int32_t{-1});
    const auto on_certainty = on_verdict->AddArray(2, 1)->AddContainer(0);
    PutVersion(*on_certainty, 1, 0);
    on_certainty->Set(1, std::int32_t{77});
    PutAction(*on_certainty->AddContainer(2), 78);
    Put(*tree, 11, true, false, true);
    Put(*tree, 12, std::uint32_t{4000000000}, std::uint32_t{0}, false);
    Put(*tree, 14, std::uint32_t{1}, std::uint32_t{2}, true);
    return tree;
}

TEST(SettingsBlob, OfMinorZeroIsReadTagByTag)
{
    const WebTrafficMonitorSettings settings = SettingsFromBlob(BlobOf(*OldestTree()));
    EXPECT_TRUE((settings.Base.UseTrustedZoneSettings == Setting<bool>{false, true, true}));
    EXPECT_TRUE((settings.Base.ScanType == Setting<std::int32_t>{5, 6, true}));
    EXPECT_TRUE((settings.Base.ScanExtensionMasks == Setting<std::vector<std::wstring>>{{}, {L"*.exe"}, true}));
    EXPECT_TRUE((settings.Base.ScanOle == Setting<bool>{false, false, false}));
    EXPECT_TRUE((settings.Base.TimeLimit == Setting<std::uint32_t>{61, 62, false}));
    EXPECT_TRUE((settings.EnableHttps == Setting<bool>{false, true, false}));
    EXPECT_TRUE((settings.InfectedAction == Setting<Action>{{27}, {37}, true}));
    EXPECT_TRUE((settings.SuspiciousAction == Setting<Action>{{28}, {38}, true}));
    EXPECT_TRUE((settings.AdvancedActions ==
                 Setting<std::vector<ActionsOnVerdict>>{{}, {ActionsOnVerdict{-1, {{77, {78}}}}}, true}));
    EXPECT_FALSE(settings.UseSizeLimit.Effective()) << "the value is set and turns the limit off";
    EXPECT_EQ(4000000000U, settings.SizeLimit.Effective()) << "a value of 0 that is not set does not count";
    EXPECT_EQ(2U, settings.FinalByteScanningModeSizeThreshold.Effective());
}

TEST(SettingsBlob, OfMinorZeroLeavesWhatCameLaterAtItsDefaults)
{
    const WebTrafficMonitorSettings settings = SettingsFromBlob(BlobOf(*OldestTree()));
    const WebTrafficMonitorSettings standard;
    EXPECT_EQ(1345U, settings.ServerPort.Effective());
    EXPECT_EQ(L"webscan", settings.Uri.Effective());
    EXPECT_TRUE(settings.UseOutlookPlugin.Effective());
    EXPECT_TRUE(settings.BlockExecInAttach.Effective());
    EXPECT_TRUE(settings.Base.UseExcludeThreats == standard.Base.UseExcludeThreats);
    EXPECT_TRUE(settings.MailHeuristicType == standard.MailHeuristicType);
}

TEST(SettingsBlob, TagsOfALaterMinorAreNotLookedAt)
{
    const auto tree = OldestTree();
    Put(*tree, 19, std::uint32_t{1}, std::uint32_t{2}, true);
    tree->Set(20, true); // not even a setting
    tree->Set(4711, true);
    const WebTrafficMonitorSettings settings = SettingsFromBlob(BlobOf(*tree));
    EXPECT_EQ(1345U, settings.ServerPort.Effective());
    EXPECT_EQ(L"webscan", settings.Uri.Effective());
}

class Minor : public testing::TestWithParam<std::uint16_t>
{};

TEST_P(Minor, BringsItsFieldsAndNoOthers)
{
    const WebTrafficMonitorSettings written = ChangedSettings();
    const WebTrafficMonitorSettings standard;
    const WebTrafficMonitorSettings settings = SettingsFromBlob(BlobOfMinor(written, GetParam()));
    int brought = 0;
    ForEachField<WebTrafficMonitorSettings>([&](const auto& field) {
        const bool has = field.sinceMinor <= GetParam();
        brought += has ? 1 : 0;
        EXPECT_TRUE(settings.*field.member == (has ? written : standard).*field.member) << field.tag;
    });
    const int expected[] = {14, 23, 33, 34, 38, 39, 40, 43, 45, 47, 47};
    EXPECT_EQ(expected[GetParam()], brought);
}

INSTANTIATE_TEST_SUITE_P(FromTheFirstToAFutureOne, Minor, testing::Range(std::uint16_t{0}, std::uint16_t{11}));

TEST(SettingsBlob, TheBaseHasAMinorOfItsOwn)
{
    const auto tree = CreateEmptyContainer();
    const WebTrafficMonitorSettings written = ChangedSettings();
    Serialize(written, *tree);
    Serialize(written.Base, *tree->AddContainer(1), 0);
    const WebTrafficMonitorSettings settings = SettingsFromBlob(BlobOf(*tree));
    EXPECT_TRUE(settings.Base.TimeLimit == written.Base.TimeLimit);
    EXPECT_TRUE(settings.Base.ExcludeThreats == BaseSettings().ExcludeThreats);
    EXPECT_TRUE(settings.UseSandbox == written.UseSandbox);
}

/// Returns the trees of a full blob that have a version: the record, and one nested record of each kind.
std::vector<std::pair<std::string, std::function<std::shared_ptr<IContainer>(const std::shared_ptr<IContainer>&)>>>
VersionedParts()
{
    const auto tag = [](std::uint32_t id) { return TagId{id, nullptr}; };
    using Root = const std::shared_ptr<IContainer>&;
    return {
        {"the record", [](Root root) { return root; }},
        {"Base", [=](Root root) { return root->GetContainer(tag(1)); }},
        {"Action, default", [=](Root root) { return root->GetArray(tag(7))->GetContainer(0); }},
        {"Action, value", [=](Root root) { return root->GetArray(tag(8))->GetContainer(1); }},
        {"ActionsOnVerdict", [=](Root root) { return root->GetArray(tag(10))->GetArray(1)->GetContainer(1); }},
        {"ActionsOnCertainty",
         [=](Root root) {
             return root->GetArray(tag(10))->GetArray(1)->GetContainer(1)->GetArray(tag(2))->GetContainer(0);
         }},
        {"Action in ActionsOnCertainty",
         [=](Root root) {
             return root->GetArray(tag(10))
                 ->GetArray(0)
                 ->GetContainer(0)
                 ->GetArray(tag(2))
                 ->GetContainer(1)
                 ->GetContainer(tag(2));
         }},
        {"content category", [=](Root root) { return root->GetArray(tag(26))->GetArray(0)->GetContainer(0); }},
        {"search pattern", [=](Root root) { return root->GetArray(tag(35))->GetArray(1)->GetContainer(0); }},
        {"URL rule", [=](Root root) { return root->GetArray(tag(39))->GetArray(1)->GetContainer(1); }},
    };
}

TEST(SettingsBlob, OfAnotherMajorIsRefusedInEveryRecord)
{
    for (const auto& [name, part] : VersionedParts()) {
        for (const std::uint16_t major : {0, 2, 65535}) {
            const auto tree = CreateEmptyContainer();
            Serialize(ChangedSettings(), *tree);
            part(tree)->SetVersion(version_info_tag, {major, 9});
            try {
                (void)SettingsFromBlob(BlobOf(*tree));
                FAIL() << name << ' ' << major;
            } catch (const IncompatibleVersionError& error) {
                EXPECT_STREQ("settings/task_settings_ser.h", error.Context()->file) << name;
                EXPECT_EQ("Error occured at settings/task_settings_ser.h(" + std::to_string(error.Context()->line) +
                              "). Subsystem: 0x0. Code: 0x0.",
                          error.what());
                EXPECT_GT(error.Context()->line, 1U);
            }
        }
    }
}

TEST(SettingsBlob, WithoutAVersionIsRefusedInEveryRecord)
{
    for (const auto& [name, part] : VersionedParts()) {
        const auto tree = CreateEmptyContainer();
        Serialize(ChangedSettings(), *tree);
        part(tree)->Set(version_info_tag.id, std::uint32_t{1});
        EXPECT_THROW((void)SettingsFromBlob(BlobOf(*tree)), ContainerElementAccessError) << name;
    }
    EXPECT_THROW((void)SettingsFromBlob(Bytes(8)), ContainerElementAccessError) << "an empty container";
}

TEST(SettingsBlob, OfWhichATagIsMissingNamesIt)
{
    ForEachField<WebTrafficMonitorSettings>([](const auto& field) {
        const auto tree = CreateEmptyContainer();
        tree->SetVersion(version_info_tag, {1, 9});
        WebTrafficMonitorSettings settings;
        ForEachField<WebTrafficMonitorSettings>([&](const auto& other) {
            if (other.tag != field.tag) {
                detail::Write(static_cast<IContainer&>(*tree), other.tag, settings.*other.member);
            }
        });
        try {
            Deserialize(settings, *tree);
            FAIL() << field.tag;
        } catch (const ContainerElementAccessError& error) {
            EXPECT_EQ(AccessFailure::NotFound, error.Reason());
            EXPECT_EQ(field.tag, error.Tag().id);
            EXPECT_STREQ(field.name, error.Tag().name);
        }
    });
}

TEST(SettingsBlob, WithAFieldOfAnotherTypeIsRefused)
{
    ForEachField<WebTrafficMonitorSettings>([](const auto& field) {
        const auto tree = CreateEmptyContainer();
        WebTrafficMonitorSettings settings;
        Serialize(settings, *tree);
        tree->Set(field.tag, std::int64_t{0});
        try {
            Deserialize(settings, *tree);
            FAIL() << field.tag;
        } catch (const ContainerElementAccessError& error) {
            EXPECT_EQ(AccessFailure::InvalidType, error.Reason());
            EXPECT_EQ(field.tag, error.Tag().id);
        }
    });
}

TEST(SettingsBlob, ASettingWithTooFewPartsOrOthersIsRefused)
{
    using cctool::Serialization::ArrayElementAccessError;
    const auto refused = [](const std::function<void(IContainer&)>& change) {
        const auto tree = CreateEmptyContainer();
        Serialize(WebTrafficMonitorSettings(), *tree);
        change(*tree);
        try {
            (void)SettingsFromBlob(BlobOf(*tree));
        } catch (const ArrayElementAccessError& error) {
            return std::pair(error.Index(), error.Reason());
        }
        return std::pair(std::size_t{99}, AccessFailure{});
    };
    EXPECT_EQ(std::pair(std::size_t{0}, AccessFailure::NotFound),
              refused([](IContainer& tree) { tree.AddArray(19, 0); }));
    EXPECT_EQ(std::pair(std::size_t{2}, AccessFailure::NotFound), refused([](IContainer& tree) {
                  const auto parts = tree.AddArray(19, 2);
                  parts->Set(0, std::uint32_t{1});
                  parts->Set(1, std::uint32_t{1});
              }));
    EXPECT_EQ(std::pair(std::size_t{1}, AccessFailure::InvalidType), refused([](IContainer& tree) {
                  const auto parts = tree.AddArray(19, 3);
                  parts->Set(0, std::uint32_t{1});
                  parts->Set(1, std::int32_t{1});
                  parts->Set(2, true);
              }));
    EXPECT_EQ(std::size_t{99}, refused([](IContainer& tree) {
                                   const auto parts = tree.AddArray(19, 4);
                                   parts->Set(0, std::uint32_t{1});
                                   parts->Set(1, std::uint32_t{1});
                                   parts->Set(2, true);
                                   parts->Set(3, true);
                               }).first)
        << "a fourth part is not looked at";
}

TEST(SettingsBlob, EveryBeginningOfOneIsRefused)
{
    const Bytes blob = BlobFromSettings(ChangedSettings());
    const std::string text(blob.begin(), blob.end());
    ::test::every_beginning(text, [&](std::string_view beginning) {
        const std::span bytes(reinterpret_cast<const std::uint8_t*>(beginning.data()), beginning.size());
        if (beginning.size() == text.size()) {
            EXPECT_NO_THROW((void)SettingsFromBlob(bytes));
        } else {
            EXPECT_THROW((void)SettingsFromBlob(bytes), InvalidDataError) << beginning.size();
        }
    });
}

TEST(SettingsBlob, EveryChangedByteIsReadOrRefusedByAStandardException)
{
    const Bytes blob = BlobFromSettings(ChangedSettings());
    std::size_t read = 0;
    std::size_t refused = 0;
    for (std::size_t place = 0; place < blob.size(); ++place) {
        Bytes changed = blob;
        changed[place] ^= 0x81U;
        try {
            (void)SettingsFromBlob(changed);
            ++read;
        } catch (const std::exception&) {
            ++refused;
        }
    }
    EXPECT_GT(read, 0U) << "values may be anything";
    EXPECT_GT(refused, 0U) << "lengths, counts and type codes may not";
}

TEST(SettingsBlob, AllocationsThatFailAreStandard)
{
    const Bytes blob = BlobFromSettings(ChangedSettings());
    std::size_t good = 0;
    for (bool done = false; !done; ++good) {
        ASSERT_LT(good, 10000U);
        try {
            const ::test::failing_new failure(good + 1, ::test::refusals::all_behind);
            (void)SettingsFromBlob(blob);
            done = true;
        } catch (const std::bad_alloc&) {
            done = false;
        }
    }
    EXPECT_GT(good, 100U);
}

} // namespace
} // namespace DOVA::Settings::test
