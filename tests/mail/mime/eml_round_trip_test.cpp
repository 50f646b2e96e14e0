// Messages that are written as files and read again must be unchanged: samples, generated mail, the results of
// disinfection, and messages with unusual properties.

#include "tests/mail/inputs/found_messages.h"
#include "tests/mail/mime/document_fixture.h"
#include "tests/support/temporary_folder.h"
#include "tool/system/conversions.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

namespace host::test {
namespace {

constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};

/// Returns the name of an identifier, which may differ between stores.
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

/// Compares every property of every object, not only those in a snapshot.
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

std::string expect_same_when_read_again(const message_record& message, const std::string& what)
{
    std::string text = expect_same_when_saved(message, what);
    expect_same(message, read_saved(text), what);
    return text;
}

/// Writes a message for which there is no original document.
void expect_round_trip(const message_record& message, const std::string& what)
{
    const std::string text = expect_same_when_read_again(message, what);
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        ASSERT_NE(end, std::string::npos) << what << ": the last line has no end";
        ASSERT_TRUE(end > start && text[end - 1] == '\r') << what << ": a line end without its CR";
        ASSERT_LE(end - start, 999U) << what << ": a line longer than mail may have";
        start = end + 1;
    }
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
        << what << ": other characters than mail may have";
}

void set_verdict(message_record& message, std::int32_t verdict)
{
    const std::uint32_t id = message.store->names.id_of({verdict_set, std::int32_t{1}}, true);
    message.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(verdict));
}

/// The samples and generated mail as folders of files.
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
        for (const message_place& place : found_messages(folder.path())) {
            const bytes_ptr source = open_message(place);
            message_record message = read_message(source, place.name(), std::make_shared<store_context>());
            for (const std::string what : {"", " with a verdict"}) {
                const std::string text = expect_same_when_read_again(message, place.name() + what);
                EXPECT_THAT(text, testing::EndsWith(to_string(*source))) << place.name();
                expect_round_trip(without_origin(message), place.name() + what + " without its source");
                set_verdict(message, 2);
            }
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

/// Generates unusual messages that a store can contain.
class odd_messages
{
public:
    explicit odd_messages(unsigned seed)
        : random_(seed)
    {}
    message_record make(int depth = 0)
    {
        message_record message;
        message.store->names.id_of({IID_IUnknown, static_cast<std::int32_t>(number(1000))}, true); // shifts the others
        fill(*message.properties, message.store->names);
        if (chance(2)) {
            set_text(message, PR_BODY_W, text(number(400)));
        }
        if (chance(2)) {
            set_binary(message, PR_HTML, bytes(number(3000)) + (chance(2) ? "cid:a@b" : ""));
        }
        if (chance(3)) {
            set_verdict(message, static_cast<std::int32_t>(number(4)));
        }
        for (std::size_t i = number(4); i > 0; --i) {
            add_recipient(message, static_cast<std::int32_t>(number(5)), text(8), text(8));
        }
        for (std::size_t i = number(5); i > 0; --i) {
            message.attachments.insert_or_assign(static_cast<std::uint32_t>(number(1000)), attachment(message, depth));
        }
        return message;
    }

private:
    attachment_record attachment(const message_record& message, int depth)
    {
        attachment_record result;
        property_bag& bag = *result.properties;
        fill(bag, message.store->names);
        const bool embeds = depth < 3 && chance(4);
        bag.set(PR_ATTACH_METHOD, property_value::of_long(embeds ? ATTACH_EMBEDDED_MSG : static_cast<int>(number(8))));
        if (embeds) {
            result.embedded = std::make_shared<const message_record>(in_store_of(message, make(depth + 1)));
        } else if (chance(2)) {
            bag.set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of(bytes(number(5000)))));
        }
        if (chance(2)) {
            bag.set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(text(20)));
            bag.set(PR_ATTACH_CONTENT_ID_W, property_value::of_text(chance(2) ? L"a@b" : text(6)));
            bag.set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(chance(2)));
            bag.set(PR_ATTACH_MIME_TAG_W, property_value::of_text(chance(2) ? L"text/calendar" : text(6)));
        }
        return result;
    }

    /// All messages of one store share its names.
    static message_record in_store_of(const message_record& outer, message_record inner)
    {
        message_record result = inner.copy();
        result.store = outer.store;
        result.properties = std::make_shared<property_bag>();
        for (const std::uint32_t tag : inner.properties->tags()) {
            const property_name* name = inner.store->names.name_of(PROP_ID(tag));
            const std::uint32_t id = name ? outer.store->names.id_of(*name, true) : PROP_ID(tag);
            result.properties->set(PROP_TAG(PROP_TYPE(tag), id), *inner.properties->find(PROP_ID(tag)));
        }
        for (auto& [at, attachment] : result.attachments) {
            attachment_record moved;
            moved.embedded =
                attachment.embedded
                    ? std::make_shared<const message_record>(in_store_of(outer, attachment.embedded->copy()))
                    : nullptr;
            for (const std::uint32_t tag : attachment.properties->tags()) {
                const property_name* name = inner.store->names.name_of(PROP_ID(tag));
                const std::uint32_t id = name ? outer.store->names.id_of(*name, true) : PROP_ID(tag);
                moved.properties->set(PROP_TAG(PROP_TYPE(tag), id), *attachment.properties->find(PROP_ID(tag)));
            }
            attachment = std::move(moved);
        }
        return result;
    }

    void fill(property_bag& bag, name_table& names)
    {
        for (std::size_t i = number(8); i > 0; --i) {
            std::uint32_t id = 0x6600 + static_cast<std::uint32_t>(number(0x100));
            if (chance(3)) {
                id = names.id_of({PS_INTERNET_HEADERS, text(3)}, true);
            }
            set_any(bag, id);
        }
        for (const std::uint32_t tag :
             {std::uint32_t{PR_SUBJECT_W}, std::uint32_t{PR_MESSAGE_CLASS_W}, std::uint32_t{PR_DISPLAY_NAME_W},
              std::uint32_t{PR_SENDER_NAME_W}, std::uint32_t{PR_SENDER_EMAIL_ADDRESS_W},
              std::uint32_t{PR_INTERNET_MESSAGE_ID_W}, std::uint32_t{PR_TRANSPORT_MESSAGE_HEADERS_W}}) {
            if (chance(2)) {
                bag.set(tag, property_value::of_text(text(number(60))));
            }
        }
        if (chance(2)) {
            bag.set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(random_() * 0x100000001ULL));
        }
    }

    void set_any(property_bag& bag, std::uint32_t id)
    {
        switch (number(6)) {
        case 0:
            bag.set(PROP_TAG(PT_LONG, id), property_value::of_long(static_cast<std::int32_t>(random_())));
            break;
        case 1:
            bag.set(PROP_TAG(PT_UNICODE, id), property_value::of_text(text(number(2000))));
            break;
        case 2:
            bag.set(PROP_TAG(PT_BINARY, id), property_value::of_binary(bytes_of(bytes(number(40000)))));
            break;
        case 3:
            bag.set(PROP_TAG(PT_STRING8, id), {PT_STRING8, bytes_of(bytes(number(50)))});
            break;
        case 4:
            bag.set(PROP_TAG(PT_UNICODE | MV_FLAG, id),
                    {PT_UNICODE | MV_FLAG, std::vector<std::wstring>{text(3), L"", text(9)}});
            break;
        default:
            bag.set(PROP_TAG(PT_DOUBLE, id), {PT_DOUBLE, static_cast<double>(random_()) / 7});
            break;
        }
    }

    std::size_t number(std::size_t below) { return random_() % below; }
    bool chance(std::size_t of) { return number(of) == 0; }
    std::wstring text(std::size_t size)
    {
        static constexpr std::wstring_view often = L" \t\r\n:;,<>\"=?-\u00E4\u4E00\U0001F600.ab";
        std::wstring result;
        for (std::size_t i = 0; i < size; ++i) {
            result += chance(5) ? static_cast<wchar_t>(1 + number(0xD7FF)) : often[number(often.size())];
        }
        return result;
    }
    std::string bytes(std::size_t size)
    {
        std::string result(size, '\0');
        for (char& c : result) {
            c = chance(3) ? static_cast<char>(random_()) : "\r\n =a"[number(5)];
        }
        return result;
    }

    std::mt19937 random_;
};

TEST_F(saved_mail, of_messages_like_no_mail_reads_back_to_the_same_message)
{
    for (unsigned seed = 1; seed <= 120; ++seed) {
        odd_messages generator(seed);
        message_record message = generator.make();
        set_binary(message, PR_ENTRYID, "id"); // the reader assigns one to a message without
        ASSERT_NO_FATAL_FAILURE(expect_round_trip(message, "odd message " + std::to_string(seed)));
        if (HasFailure()) {
            break;
        }
    }
}

TEST_F(saved_mail, is_a_file_with_all_that_reading_it_again_needs)
{
    const temporary_folder folder;
    message_record message = note();
    add_recipient(message, MAPI_BCC, L"Dan", L"dan@example.org");
    set_verdict(message, 2);
    write_eml(message, folder.path() / "note.eml");
    EXPECT_EQ(to_string(*bytes_of_file(folder.path() / "note.eml")), saved_document(message));
    EXPECT_NE(saved_document(message).find("Bcc: Dan <dan@example.org>"), std::string::npos);
    write_eml(note(L"Another"), folder.path() / "note.eml");
    EXPECT_EQ(to_string(*bytes_of_file(folder.path() / "note.eml")), saved_document(note(L"Another")));
}

TEST_F(saved_mail, that_cannot_be_written_leaves_the_old_file_and_no_other)
{
    message_record deep = note(L"0");
    for (int level = 0; level < deepest_embedded; ++level) {
        message_record outer = note(std::to_wstring(level));
        outer.attachments.emplace(0, message_attachment(std::move(deep)));
        deep = std::move(outer);
    }
    const temporary_folder folder;
    const auto file = folder.write("note.eml", "old");
    EXPECT_THROW(write_eml(deep, file), std::runtime_error);
    EXPECT_EQ(to_string(*bytes_of_file(file)), "old");
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        files += entry.exists() ? 1 : 0;
    }
    EXPECT_EQ(files, 1U);
    EXPECT_ANY_THROW(write_eml(note(), folder.path() / "no such folder" / "note.eml"));
}

} // namespace
} // namespace host::test
