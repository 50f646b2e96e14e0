#include "desk/run/open_messages.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/desk/run/listed_messages.h"
#include "tests/mail/mime/mime_fixture.h"

#include <gmock/gmock.h>

#include <set>
#include <stdexcept>

namespace host::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string subject_of(const message_record& message)
{
    const std::wstring text = wide(message, PR_SUBJECT_W);
    return {text.begin(), text.end()};
}

/// Records the messages that are opened, and appends "!" to their subjects.
class told_opener final : public message_opener
{
public:
    opening open(const std::shared_ptr<message_record>& stored) override
    {
        subjects.push_back(subject_of(*stored));
        ids.push_back(binary(*stored, PR_ENTRYID));
        opening result;
        result.verdict = verdict;
        result.answers.body.state = body;
        result.answers.body.why = why;
        result.closed = closed;
        result.shown = stored->copy();
        result.shown.properties->set(PR_SUBJECT_W, property_value::of_text(wide(*stored, PR_SUBJECT_W) + L"!"));
        return result;
    }
    std::vector<std::string> subjects;
    std::vector<std::string> ids;
    std::string closed;
    answer_state body = answer_state::scanned;
    std::string why;
    ScanResult verdict = ScanResult::Clean;
};

/// Copies in memory that fail on request.
class told_copies final : public message_copies
{
public:
    std::unique_ptr<message_copy> copy_of(const message_place&) override
    {
        fail_if(fails_at == "name");
        ++names;
        return std::make_unique<copy>(*this);
    }
    [[nodiscard]] std::string folder() const override { return "out"; }

    std::string fails_at;
    int names = 0;
    std::vector<std::string> written;

private:
    static void fail_if(bool fails)
    {
        if (fails) {
            throw std::runtime_error("told to fail");
        }
    }
    class copy final : public message_copy
    {
    public:
        explicit copy(told_copies& owner)
            : owner_(owner)
        {}
        void write(const message_record& message) override
        {
            fail_if(owner_.fails_at == "write");
            owner_.written.push_back(subject_of(message));
            text_ = "Subject: " + subject_of(message) + "\n\nx\n";
        }
        [[nodiscard]] message_record read(const std::shared_ptr<store_context>& store) const override
        {
            fail_if(owner_.fails_at == "read");
            return read_message(bytes_of(text_), "copy", store);
        }

    private:
        told_copies& owner_;
        std::string text_;
    };
};

class OpenMessages : public testing::Test
{
protected:
    void run(const opening_plan& plan)
    {
        std::vector<message_place> places(sources.size());
        for (std::size_t i = 0; i < places.size(); ++i) {
            places[i].file = "mail-" + std::to_string(i);
        }
        const message_reader read = [this](const message_place& place, const std::shared_ptr<store_context>& store) {
            stores.insert(store.get());
            const std::string name = place.name();
            message_record record = read_message(bytes_of(sources.at(name.back() - '0')), name, store);
            if (!missing.empty()) {
                record.incomplete = std::make_shared<const incomplete_reading>(incomplete_reading{place.file, missing});
            }
            return record;
        };
        listed_messages source(places);
        open_messages(source, plan, read, client, where, totals);
    }

    std::vector<std::string> sources{"Subject: one\n\nx\n", "Subject: two\n\nx\n"};
    std::vector<std::string> missing; ///< of each message
    std::set<store_context*> stores;
    told_opener client;
    told_copies copies;
    opening_totals totals;
    std::ostringstream out;
    std::ostringstream err;
    console where{out, err};
};

TEST_F(OpenMessages, AreThoseOfOneStore)
{
    run({});
    EXPECT_EQ(1U, stores.size());
    EXPECT_THAT(client.subjects, ElementsAre("one", "two"));
}

TEST_F(OpenMessages, StartFromTheirStoreAndAreSavedOnce)
{
    run({2, false, &copies, false});
    EXPECT_THAT(client.subjects, ElementsAre("one", "one", "two", "two"));
    EXPECT_THAT(copies.written, ElementsAre("one!", "two!"));
    EXPECT_EQ(2U, totals.saved);
    EXPECT_THAT(out.str(), HasSubstr("; 2 saved in out"));
}

TEST_F(OpenMessages, StartFromTheirCopiesWhenTheyAreReopened)
{
    sources.resize(1);
    run({3, false, &copies, true});
    EXPECT_THAT(client.subjects, ElementsAre("one", "one!", "one!!"));
    EXPECT_THAT(copies.written, ElementsAre("one!", "one!!", "one!!!"));
    EXPECT_EQ(1, copies.names);
    EXPECT_EQ(1U, totals.saved);
}

TEST_F(OpenMessages, KeepTheirIdentityWhenTheyAreReopened)
{
    sources.resize(1);
    run({2, false, &copies, true});
    ASSERT_EQ(2U, client.ids.size());
    EXPECT_EQ(client.ids[0], client.ids[1]);
}

TEST_F(OpenMessages, ThatCannotBeSavedAreToldAndCounted)
{
    for (const char* where_it_fails : {"name", "write"}) {
        copies.fails_at = where_it_fails;
        totals = {};
        run({1, true, &copies, false});
        EXPECT_EQ(2U, totals.unsaved) << where_it_fails;
        EXPECT_EQ(0U, totals.saved) << where_it_fails;
        EXPECT_EQ(0U, totals.unreadable) << where_it_fails;
    }
    EXPECT_THAT(err.str(), HasSubstr("postwarden: mail-0: it cannot be saved: told to fail"));
    EXPECT_EQ(4U, lines_of(out.str()).size()); // the messages were still opened
}

TEST_F(OpenMessages, ThatCannotBeSavedAreNotReopened)
{
    copies.fails_at = "write";
    run({3, false, &copies, true});
    EXPECT_THAT(client.subjects, ElementsAre("one", "two"));
    EXPECT_EQ(2U, totals.unsaved);
    EXPECT_THAT(out.str(), HasSubstr("; 2 could not be saved"));
}

TEST_F(OpenMessages, WhoseCopiesCannotBeReadCountAsUnreadable)
{
    copies.fails_at = "read";
    run({2, false, &copies, true});
    EXPECT_THAT(client.subjects, ElementsAre("one", "two"));
    EXPECT_EQ(2U, totals.unreadable);
}

TEST_F(OpenMessages, MayCarryAnyNumberForTheirVerdict)
{
    sources.resize(1);
    for (const std::int32_t number : {77, -1, 4}) {
        out.str("");
        client.verdict = static_cast<ScanResult>(number);
        run({});
        EXPECT_THAT(out.str(), HasSubstr("unknown " + std::to_string(number) + " "));
        EXPECT_THAT(out.str(), HasSubstr(" 0 clean, 0 condemned, 0 repaired, 1 not judged"));
    }
    EXPECT_EQ("", err.str());
    EXPECT_EQ(0U, totals.unreadable);
}

TEST_F(OpenMessages, TellOnceWhyTheirContentsStayClosed)
{
    client.closed = "it is encrypted, and no key was given";
    sources.resize(1);
    run({3, false, nullptr, false});
    EXPECT_EQ("postwarden: mail-0: its contents stay closed: it is encrypted, and no key was given\n", err.str());
}

TEST_F(OpenMessages, TellOnceWhatCouldNotBeReadOfThem)
{
    missing = {"its subject", "its body"};
    sources.resize(1);
    run({2, false, nullptr, false});
    EXPECT_EQ("postwarden: mail-0: not all of it could be read: its subject\n"
              "postwarden: mail-0: not all of it could be read: its body\n",
              err.str());
    EXPECT_THAT(out.str(), HasSubstr("2 openings"));
    EXPECT_EQ(0U, totals.unreadable);
}

TEST_F(OpenMessages, HaveWhatCouldNotBeReadOfThemInJson)
{
    missing = {"its \xFF subject", "its body"};
    sources.resize(1);
    run({2, true, nullptr, false});
    missing.clear();
    run({1, true, nullptr, false});
    EXPECT_EQ("", err.str());
    const auto lines = lines_of(out.str());
    ASSERT_EQ(3U, lines.size());
    const nlohmann::json wanted{"its \uFFFD subject", "its body"};
    EXPECT_EQ(wanted, nlohmann::json::parse(lines[0]).at("warnings"));
    EXPECT_EQ(wanted, nlohmann::json::parse(lines[1]).at("warnings"));
    EXPECT_FALSE(nlohmann::json::parse(lines[2]).contains("warnings"));
}

} // namespace
} // namespace host::test
