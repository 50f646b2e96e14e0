// Messages written as files and read again show what they showed before: samples, generated mail, what a disinfection
// leaves, and what no mail ever looked like.

#include "host/files/mailbox.h"
#include "tests/host/document_fixture.h"
#include "tests/host/temporary_folder.h"
#include "tool/system/conversions.h"

#include <cstdlib>
#include <map>

namespace host::test {
namespace {

constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};

/// The name of an identifier that may differ from store to store.
std::string stable_name(std::uint32_t tag, const name_table& names)
{
    const property_name* name = PROP_ID(tag) < 0x8000 ? nullptr : names.name_of(PROP_ID(tag));
    if (!name) {
        return std::to_string(tag);
    }
    const auto* number = std::get_if<std::int32_t>(&name->name);
    return std::to_string(name->set.Data1) + "/" + std::to_string(PROP_TYPE(tag)) + "/" +
           (number ? std::to_string(*number)
                   : winapi::conv_to_char(std::get<std::wstring>(name->name), winapi::code_page_utf8));
}

void expect_same(const property_bag& left, const name_table& left_names, const property_bag& right,
                 const name_table& right_names, const std::string& what)
{
    std::map<std::string, const property_value*> expected;
    std::map<std::string, const property_value*> found;
    for (const std::uint32_t tag : left.tags()) {
        expected[stable_name(tag, left_names)] = left.find(PROP_ID(tag));
    }
    for (const std::uint32_t tag : right.tags()) {
        found[stable_name(tag, right_names)] = right.find(PROP_ID(tag));
    }
    for (const auto& [name, value] : expected) {
        ASSERT_TRUE(found.contains(name)) << what << ": " << name;
        EXPECT_TRUE(same_value(*value, *found[name])) << what << ": " << name;
    }
    EXPECT_EQ(expected.size(), found.size()) << what;
}

/// Every property of every object, not only what a snapshot shows.
void expect_same(const message_record& left, const message_record& right, const std::string& what)
{
    expect_same(*left.properties, left.store->names, *right.properties, right.store->names, what);
    ASSERT_EQ(left.recipients.size(), right.recipients.size()) << what;
    for (std::size_t i = 0; i < left.recipients.size(); ++i) {
        expect_same(*left.recipients[i], left.store->names, *right.recipients[i], right.store->names,
                    what + " recipient " + std::to_string(i));
    }
    ASSERT_EQ(left.attachments.size(), right.attachments.size()) << what;
    for (const auto& [number, attachment] : left.attachments) {
        const std::string where = what + " attachment " + std::to_string(number);
        const auto other = right.attachments.find(number);
        ASSERT_NE(other, right.attachments.end()) << where;
        expect_same(*attachment.properties, left.store->names, *other->second.properties, right.store->names, where);
        ASSERT_EQ(attachment.embedded == nullptr, other->second.embedded == nullptr) << where;
        if (attachment.embedded) {
            expect_same(*attachment.embedded, *other->second.embedded, where);
        }
    }
}

void expect_round_trip(const message_record& message, const std::string& what)
{
    const std::string text = saved_document(message);
    const message_record again = read_saved(text);
    EXPECT_EQ(snapshot_text(message), snapshot_text(again)) << what;
    expect_same(message, again, what);
    EXPECT_EQ(text, saved_document(again)) << what << ": written again it is the same file";
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        ASSERT_NE(end, std::string::npos) << what << ": the last line has no end";
        ASSERT_TRUE(end > start && text[end - 1] == '\r') << what << ": a line end without its CR";
        ASSERT_LE(end - start, 999U) << what << ": a line longer than mail may have";
        start = end + 1;
    }
}

void set_verdict(message_record& message, std::int32_t verdict)
{
    const std::uint32_t id = message.store->names.id_of({verdict_set, std::int32_t{1}}, true);
    message.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(verdict));
}

/// The samples, and generated mail, as folders of files.
class saved_mail : public testing::Test
{
protected:
    static void make(const temporary_folder& folder, const std::string& options)
    {
        const std::string command =
            "python3 '" SAMPLES_FOLDER "/make_samples.py' '" + folder.path().string() + "' " + options + " >/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c,concurrency-mt-unsafe): the project's script
    }
    static std::size_t round_trip_all(const temporary_folder& folder)
    {
        std::size_t count = 0;
        for (const message_place& place : find_messages(folder.path())) {
            message_record message = read_message(open_message(place), place.name(), std::make_shared<store_context>());
            expect_round_trip(message, place.name());
            set_verdict(message, 2);
            expect_round_trip(message, place.name() + " with a verdict");
            ++count;
        }
        return count;
    }
};

TEST_F(saved_mail, of_every_sample_reads_back_to_the_same_message)
{
    const temporary_folder folder;
    make(folder, "");
    EXPECT_GE(round_trip_all(folder), 36U);
}

TEST_F(saved_mail, of_generated_messages_reads_back_to_the_same_message)
{
    const temporary_folder folder;
    make(folder, "--count 60 --seed 7");
    EXPECT_EQ(round_trip_all(folder), 60U);
}

} // namespace
} // namespace host::test
