#include "desk/settings/settings_json.h"
#include "settings/field.h"
#include "settings/web_traffic_monitor_settings.h"
#include "tests/settings/record_changes.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace DOVA::Settings::test {
namespace {

/// A row in the layout of the product's blobs.
struct Row
{
    std::uint32_t tag;
    std::wstring name;
    std::uint16_t since;
    std::string standard; ///< the default, as text
    bool read = false;
};

const std::vector<Row> monitor_rows{
    {2, L"EnableHttps", 0, "true"},
    {3, L"EnableWmuf", 0, "true"},
    {4, L"EnableAntiPhishing", 0, "true"},
    {5, L"ScanArchived", 0, "true"},
    {6, L"ScanPlainMail", 0, "true"},
    {7, L"InfectedAction", 0, R"({"ActionType":1})"},
    {8, L"SuspiciousAction", 0, R"({"ActionType":1})"},
    {9, L"UseAdvancedActions", 0, "false"},
    {10, L"AdvancedActions", 0, "[]"},
    {11, L"UseSizeLimit", 0, "true", true},
    {12, L"SizeLimit", 0, "20971520", true},
    {13, L"EnableFinalByteScanningMode", 0, "true"},
    {14, L"FinalByteScanningModeSizeThreshold", 0, "1024"},
    {16, L"UseHeuristicAnalyzer", 1, "true"},
    {17, L"HeuristicAnalyzerLevel", 1, "2"},
    {18, L"UseTmn", 1, "true"},
    {19, L"ServerPort", 1, "1345", true},
    {20, L"Uri", 1, "webscan", true},
    {21, L"ProxyMode", 1, "3"},
    {22, L"UseExtProxyServer", 1, "false"},
    {23, L"ExtProxyServerPort", 1, "0"},
    {24, L"ExtProxyServerAddress", 1, ""},
    {25, L"UseContentCategories", 2, "false"},
    {26, L"ContentCategories", 2, "[]"},
    {27, L"UseCertificates", 2, "true"},
    {28, L"CertificateList", 2, "[]"},
    {29, L"UseOutlookPlugin", 2, "true", true},
    {30, L"BlockExecInAttach", 2, "true", true},
    {31, L"BlockArchivedExecInAttach", 2, "true"},
    {32, L"ProxyPort", 2, "1347"},
    {33, L"ControlledPorts", 2, "[]"},
    {34, L"ExcludedAddresses", 2, "[]"},
    {35, L"CertificateSearchPatterns", 3, "[]"},
    {36, L"AntiPhishingHeuristicAnalyzerLevel", 4, "2"},
    {37, L"WebCategorizerHeuristicAnalyzerLevel", 4, "2"},
    {38, L"UseUrlRules", 4, "true"},
    {39, L"UrlRules", 4, "[]"},
    {40, L"UseAPSilentDetect", 5, "false"},
    {41, L"BlockUntrustedCert", 6, "true"},
    {42, L"ExcludedPorts", 7, "[]"},
    {43, L"UsePortMode", 7, "2"},
    {44, L"TlsVersion", 7, "7"},
    {45, L"UseExcludeProcesses", 8, "false"},
    {46, L"ExcludeProcesses", 8, "[]"},
    {47, L"UseSandbox", 9, "false"},
    {48, L"MailHeuristicType", 9, "0"},
};

const std::vector<Row> base_rows{
    {1, L"UseTrustedZoneSettings", 0, "true"}, {2, L"ScanType", 0, "1"},      {3, L"ScanExtensionMasks", 0, "[]"},
    {4, L"ScanSfxArchived", 0, "true"},        {5, L"ScanPacked", 0, "true"}, {6, L"ScanOle", 0, "true"},
    {7, L"UseTimeLimit", 0, "true"},           {8, L"TimeLimit", 0, "60"},    {9, L"UseExcludeThreats", 1, "false"},
    {10, L"ExcludeThreats", 1, "[]"},
};

template <typename Record>
void ExpectTable(const std::vector<Row>& rows)
{
    std::size_t place = 0;
    ForEachField<Record>([&](const auto& field) {
        ASSERT_LT(place, rows.size());
        EXPECT_EQ(rows[place].tag, field.tag);
        EXPECT_EQ(rows[place].name, field.name);
        EXPECT_EQ(rows[place].since, field.sinceMinor);
        EXPECT_EQ(rows[place].read, field.readByAddin);
        ++place;
    });
    EXPECT_EQ(rows.size(), place);
}

TEST(FieldTable, OfTheMonitorIsThatOfItsBlobs)
{
    std::vector<Row> rows{{1, L"Base", 0, ""}};
    rows.insert(rows.end(), monitor_rows.begin(), monitor_rows.end());
    ExpectTable<WebTrafficMonitorSettings>(rows);
    EXPECT_EQ(9, LatestMinor<WebTrafficMonitorSettings>());
}

TEST(FieldTable, OfTheBaseIsThatOfItsBlobs)
{
    ExpectTable<BaseSettings>(base_rows);
    EXPECT_EQ(1, LatestMinor<BaseSettings>());
}

TEST(FieldTable, OfTheNestedRecordsAreThoseOfTheirBlobs)
{
    ExpectTable<Action>({{1, L"ActionType", 0, ""}});
    ExpectTable<ActionsOnCertainty>({{1, L"DetectCertainty", 0, ""}, {2, L"Action", 0, ""}});
    ExpectTable<ActionsOnVerdict>({{1, L"Verdict", 0, ""}, {2, L"Actions", 0, ""}});
    ExpectTable<ContentCategory>(
        {{1, L"Allowed", 0, ""}, {2, L"CategoryType", 0, ""}, {3, L"Name", 0, ""}, {4, L"Description", 0, ""}});
    ExpectTable<SearchPattern>(
        {{1, L"Enable", 0, ""}, {2, L"Mode", 0, ""}, {3, L"Pattern", 0, ""}, {4, L"Description", 0, ""}});
    ExpectTable<UrlRule>({{1, L"Enable", 0, ""}, {2, L"Type", 0, ""}, {3, L"UrlPattern", 0, ""}, {4, L"Name", 0, ""}});
}

TEST(Defaults, AreThoseOfTheProduct)
{
    std::vector<Row> rows;
    for (Row row : base_rows) {
        row.name = L"Base." + row.name;
        rows.push_back(row);
    }
    rows.insert(rows.end(), monitor_rows.begin(), monitor_rows.end());
    const std::vector<SettingText> texts = TextsOf({});
    ASSERT_EQ(rows.size(), texts.size());
    for (std::size_t place = 0; place < rows.size(); ++place) {
        EXPECT_EQ(rows[place].name, std::wstring(texts[place].name.begin(), texts[place].name.end()));
        EXPECT_EQ(rows[place].standard, texts[place].default_) << texts[place].name;
        EXPECT_EQ(rows[place].standard, texts[place].effective) << texts[place].name;
        EXPECT_EQ(rows[place].read, texts[place].readByAddin) << texts[place].name;
        EXPECT_FALSE(texts[place].isSet) << texts[place].name;
    }
}

TEST(Defaults, LeaveValuesZeroButThoseOfTheTwoActions)
{
    for (const SettingText& text : TextsOf({})) {
        const bool action = text.name == "InfectedAction" || text.name == "SuspiciousAction";
        const std::string zero = text.default_ == "true" || text.default_ == "false" ? "false"
                                 : text.default_ == "[]"                             ? "[]"
                                 : text.name == "Uri" || text.default_.empty()       ? ""
                                                                                     : "0";
        EXPECT_EQ(action ? R"({"ActionType":1})" : zero, text.value) << text.name;
    }
}

/// Returns the size of a record that has the fields of its table in that order and nothing else.
template <typename Record>
constexpr std::size_t SizeByTable()
{
    std::size_t size = 0;
    const auto align = [&](std::size_t boundary) { size = (size + boundary - 1) / boundary * boundary; };
    ForEachField<Record>([&](const auto& field) {
        using T = std::remove_cvref_t<decltype(std::declval<Record>().*field.member)>;
        align(alignof(T));
        size += sizeof(T);
    });
    align(alignof(Record));
    return size;
}

// A member without a row in the table would be neither read, written nor compared.
static_assert(SizeByTable<WebTrafficMonitorSettings>() == sizeof(WebTrafficMonitorSettings));
static_assert(SizeByTable<BaseSettings>() == sizeof(BaseSettings));
static_assert(SizeByTable<Action>() == sizeof(Action));
static_assert(SizeByTable<ActionsOnCertainty>() == sizeof(ActionsOnCertainty));
static_assert(SizeByTable<ActionsOnVerdict>() == sizeof(ActionsOnVerdict));
static_assert(SizeByTable<ContentCategory>() == sizeof(ContentCategory));
static_assert(SizeByTable<SearchPattern>() == sizeof(SearchPattern));
static_assert(SizeByTable<UrlRule>() == sizeof(UrlRule));

/// Expects each single change in a record, at any depth, to make it unequal.
template <typename Record>
void ExpectEachFieldCounts(const Record& record)
{
    ForEachField<Record>([&](const auto& field) {
        Record other = record;
        EXPECT_TRUE(other == record);
        Change(other.*field.member);
        EXPECT_FALSE(other == record) << std::string(field.name,
                                                     field.name + std::char_traits<wchar_t>::length(field.name));
    });
}

TEST(Equality, TakesEveryFieldOfEveryRecord)
{
    ExpectEachFieldCounts(WebTrafficMonitorSettings());
    ExpectEachFieldCounts(ChangedSettings());
    ExpectEachFieldCounts(BaseSettings());
    ExpectEachFieldCounts(Action());
    ExpectEachFieldCounts(ActionsOnCertainty());
    ExpectEachFieldCounts(ActionsOnVerdict());
    ExpectEachFieldCounts(ContentCategory());
    ExpectEachFieldCounts(SearchPattern());
    ExpectEachFieldCounts(UrlRule());
}

/// Calls `visit` for each Setting of a record and of its base.
template <typename Record, typename Visit>
void ForEachSetting(Record& record, Visit&& visit)
{
    ForEachField<Record>([&](const auto& field) {
        if constexpr (std::is_same_v<decltype(record.*field.member), BaseSettings&>) {
            ForEachSetting(record.*field.member, visit);
        } else {
            visit(record.*field.member);
        }
    });
}

TEST(Equality, TakesAllThreePartsOfEverySetting)
{
    const WebTrafficMonitorSettings standard;
    WebTrafficMonitorSettings changed;
    int settings = 0;
    ForEachSetting(changed, [&](auto& setting) {
        const auto kept = setting;
        Change(setting.default_);
        EXPECT_FALSE(changed == standard) << "a change of a default counts";
        setting = kept;
        Change(setting.value);
        EXPECT_FALSE(changed == standard);
        setting = kept;
        Change(setting.isSet);
        EXPECT_FALSE(changed == standard);
        setting = kept;
        EXPECT_TRUE(changed == standard);
        ++settings;
    });
    EXPECT_EQ(56, settings);
}

/// A field that records when it is compared.
struct Noted
{
    char name;
    std::string* notes;
    bool same = true;
    bool operator==(const Noted& other) const
    {
        *notes += name;
        return same == other.same;
    }
};

struct NotedRecord
{
    Noted third;
    Noted first;
    Noted second;
    static constexpr auto Fields()
    {
        return std::tuple(Field{1, L"first", 0, &NotedRecord::first}, Field{2, L"second", 0, &NotedRecord::second},
                          Field{3, L"third", 0, &NotedRecord::third});
    }
};

TEST(Equality, GoesInTheOrderOfTheTableAndEndsAtTheFirstDifference)
{
    std::string notes;
    const NotedRecord record{{'3', &notes}, {'1', &notes}, {'2', &notes}};
    NotedRecord other = record;
    EXPECT_TRUE(record == other);
    EXPECT_EQ("123", notes);
    notes.clear();
    other.second.same = false;
    EXPECT_FALSE(record == other);
    EXPECT_EQ("12", notes);
}

TEST(Copy, IsDeepAndEqual)
{
    WebTrafficMonitorSettings settings = ChangedSettings();
    const WebTrafficMonitorSettings copy = settings;
    EXPECT_TRUE(copy == settings);
    settings.AdvancedActions.value.front().Actions.front().Action.ActionType ^= 1;
    EXPECT_FALSE(copy == settings);
}

} // namespace
} // namespace DOVA::Settings::test
