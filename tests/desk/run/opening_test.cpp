#include "desk/run/console.h"
#include "desk/run/open_messages.h"
#include "desk/run/open_options.h"
#include "digest/sha256.h"
#include "mail/files/new_file.h"
#include "mail/files/path_text.h"
#include "store/unreadable_message.h"
#include "tests/desk/run/listed_messages.h"

#include <CLI/CLI.hpp>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace host::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string digest_of(const std::string& text)
{
    digest::sha256 sum;
    sum.add(text);
    return digest::to_text(sum.finish());
}

TEST(Digests, AreThoseOfTheStandard)
{
    EXPECT_EQ("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855", digest_of(""));
    EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", digest_of("abc"));
    digest::sha256 sum;
    const std::string piece(1000, 'a');
    for (int i = 0; i < 1000; ++i) {
        sum.add(piece);
    }
    EXPECT_EQ("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0", digest::to_text(sum.finish()));
}

TEST(Columns, CountWhatIsNoTextAsOneEach)
{
    for (const char* bad : {"\x80", "\xC5", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF", "\x1B", "\x7F"}) {
        const std::string_view text(bad);
        EXPECT_EQ(text[0] == '\x1B' || text[0] == '\x7F' ? 1U : text.size(), columns_of(text)) << text.size();
        EXPECT_EQ(std::string::npos, fitted(text, 10).find(text[0]));
    }
}

TEST(Columns, CountWhatATerminalShows)
{
    EXPECT_EQ(5U, columns_of("plain"));
    EXPECT_EQ(7U, columns_of("\u0414\u043E\u0433\u043E\u0432\u043E\u0440"));
    EXPECT_EQ(6U, columns_of("\u5FA1\u898B\u7A4D")); // wide characters
    EXPECT_EQ(1U, columns_of("e\u0301"));            // a combining accent takes no column
    EXPECT_EQ(3U, columns_of("a\xFF"
                             "b")); // an invalid byte is shown as "?"
}

TEST(Columns, AreFilledOrCut)
{
    EXPECT_EQ("ab   ", fitted("ab", 5));
    EXPECT_EQ("abcde", fitted("abcde", 5));
    EXPECT_EQ("abcd\u2026", fitted("abcdef", 5));
    EXPECT_EQ("\u5FA1\u898B\u2026", fitted("\u5FA1\u898B\u7A4D\u66F8", 5));
    EXPECT_EQ(5U, columns_of(fitted("\u5FA1\u898B\u7A4D\u66F8", 5)));
    EXPECT_EQ(4U, columns_of(fitted("\u5FA1\u898B\u7A4D\u66F8", 4))); // the truncated text leaves one column free
    EXPECT_EQ("a?b", fitted("a\nb", 3));                              // no character that moves the cursor
    EXPECT_EQ("a?[2Jb", fitted("a\x1B[2Jb", 6));
}

TEST(Consoles, NameTheProgramFirst)
{
    std::ostringstream out;
    std::ostringstream err;
    report({out, err, false, 100, "mailhost"}, "a\nb", "no \x1B[2J");
    EXPECT_EQ("mailhost: a?b: no ?[2J\n", err.str());
}

TEST(Registry, ValuesAreThoseThatAreRead)
{
    EXPECT_EQ("", check_registry_value("keepverdictinemail=4294967295"));
    EXPECT_EQ("", check_registry_value("DumpHttpTrafficPath="));
    EXPECT_THAT(check_registry_value("KeepVerdictInEmail=4294967296"), HasSubstr("needs a number"));
    EXPECT_THAT(check_registry_value("Colour=red"), HasSubstr("is none of"));
    EXPECT_THAT(check_registry_value("Configuration"), HasSubstr("is not of the form"));
    const registry_value number = parse_registry_value("KeepVerdictInEmail=7");
    EXPECT_EQ(L"SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Environment", number.key);
    EXPECT_EQ(7U, std::get<std::uint32_t>(number.value));
    EXPECT_EQ(L"HardenedScanning", parse_registry_value("hardenedscanning=1").name);
    EXPECT_EQ(L"RescanOnNewSignatures", parse_registry_value("rescanonnewsignatures=1").name);
    const registry_value text = parse_registry_value("Configuration=level=400; stderr");
    EXPECT_EQ(L"level=400; stderr", std::get<std::wstring>(text.value));
}

TEST(Registry, SwitchesHaveShortForms)
{
    CLI::App app;
    open_options options;
    add_open_options(app, options);
    const char* arguments[] = {"test", "--registry", "KeepVerdictInEmail=1", "--rescan", "--hardened", "mail"};
    app.parse(6, arguments);
    std::vector<std::pair<std::wstring, std::uint32_t>> set;
    for (const registry_value& value : registry_values(options)) {
        EXPECT_EQ(value.key, L"SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Environment");
        set.emplace_back(value.name, std::get<std::uint32_t>(value.value));
    }
    EXPECT_THAT(set,
                testing::ElementsAre(testing::Pair(L"KeepVerdictInEmail", 1U), testing::Pair(L"HardenedScanning", 1U),
                                     testing::Pair(L"RescanOnNewSignatures", 1U)));
}

TEST(Options, AreTheSameForEveryHost)
{
    CLI::App app;
    open_options options;
    add_open_options(app, options);
    app.parse("--json --times 3 --port 1345 --uri other --registry KeepVerdictInEmail=1 --log x --log-level 500 a b");
    EXPECT_TRUE(options.json);
    EXPECT_EQ(3U, options.times);
    EXPECT_EQ(1345, options.port);
    EXPECT_EQ("other", options.uri);
    EXPECT_THAT(options.registry, ElementsAre("KeepVerdictInEmail=1"));
    EXPECT_EQ("x", options.log_file);
    EXPECT_EQ(500U, options.log_level);
    EXPECT_THAT(options.paths, ElementsAre("a", "b"));
    EXPECT_THROW(app.parse("--settings s --port 1 a"), CLI::ParseError);
}

TEST(Options, HaveShortFormsOfTheSwitches)
{
    CLI::App app;
    open_options options;
    add_open_options(app, options);
    app.parse("a");
    EXPECT_TRUE(registry_values(options).empty());
    app.parse("--hardened --registry HardenedScanning=0 a");
    const auto values = registry_values(options);
    ASSERT_EQ(2U, values.size());
    for (const registry_value& value : values) {
        EXPECT_EQ(L"SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Environment", value.key);
        EXPECT_EQ(L"HardenedScanning", value.name);
    }
    EXPECT_EQ(0U, std::get<std::uint32_t>(values.front().value));
    EXPECT_EQ(1U, std::get<std::uint32_t>(values.back().value)) << "the short form is set last";
}

TEST(Paths, AreUtf8Everywhere)
{
    const std::string name = "\xD0\x9A\xD1\x80\xD0\xB0\xD0\xBD \xE6\x97\xA5.msg";
    EXPECT_EQ(name, text_of_path(path_of(name)));
    const auto folder = make_private_folder();
    const auto file = folder / path_of(name);
    EXPECT_TRUE(make_new_file(file));
    EXPECT_FALSE(make_new_file(file));
    EXPECT_TRUE(std::filesystem::is_empty(file));
    EXPECT_THROW(make_new_file(folder / "no" / "where"), std::runtime_error);
    EXPECT_NE(folder, make_private_folder());
    std::filesystem::remove_all(folder);
}

/// Judges by the subject, and marks the messages that it has opened.
class marking_client final : public message_opener
{
public:
    opening open(const std::shared_ptr<message_record>& stored) override
    {
        opening result;
        result.verdict = ScanResult::Clean;
        result.answers.body.state = answer_state::scanned;
        result.shown = stored->copy();
        result.shown.properties->set(PR_SUBJECT_W, property_value::of_text(L"opened"));
        *stored = result.shown.copy();
        return result;
    }
};

TEST(Openings, AreToldOneByOne)
{
    std::ostringstream out;
    std::ostringstream err;
    const console where{out, err};
    const message_reader read = [](const message_place& place, const std::shared_ptr<store_context>& store) {
        if (place.file == "broken") {
            throw unreadable_message("it is torn");
        }
        message_record message;
        message.store = store;
        message.properties->set(PR_SUBJECT_W, property_value::of_text(L"new"));
        return message;
    };
    std::vector<message_place> places(2);
    places[0].file = "good";
    places[1].file = "broken";
    marking_client client;
    opening_totals totals;
    listed_messages source(places);
    open_messages(source, {2, true, nullptr, false}, read, client, where, totals);
    EXPECT_EQ(1U, totals.unreadable);
    EXPECT_EQ("postwarden: broken: it is torn\n", err.str());
    std::istringstream lines(out.str());
    std::string line;
    for (const char* subject : {"new", "opened"}) {
        ASSERT_TRUE(std::getline(lines, line));
        const auto told = nlohmann::json::parse(line);
        EXPECT_EQ("good", told["file"]);
        EXPECT_EQ("0x00000000", told["hr"]);
        EXPECT_EQ(subject, told["before"]["subject"]);
        EXPECT_EQ("opened", told["after"]["subject"]);
    }
    EXPECT_FALSE(std::getline(lines, line));
}

} // namespace
} // namespace host::test
