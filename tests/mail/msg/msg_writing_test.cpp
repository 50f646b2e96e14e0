// Records that were never in a file, and changed ones: the contents of the file, and that reading it yields the same
// record.

#include "store/message_object.h"
#include "store/tags.h"
#include "tests/mail/msg/msg_fixture.h"
#include "tests/store/store_fixture.h"
#include "tool/system/conversions.h"

#include <random>

namespace host::test {
namespace msg_writing_test {

constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};

const storage_tree::stream* find_stream(const storage_tree& storage, std::string_view name)
{
    const auto found = std::find_if(storage.streams.begin(), storage.streams.end(),
                                    [name](const auto& stream) { return stream.name == name; });
    return found == storage.streams.end() ? nullptr : &*found;
}

storage_ptr find_storage(const storage_tree& storage, std::string_view name)
{
    const auto found = std::find_if(storage.storages.begin(), storage.storages.end(),
                                    [name](const auto& inner) { return inner.name == name; });
    return found == storage.storages.end() ? nullptr : found->contents;
}

/// Returns the entry of a property: tag, flags, and the two numbers after them.
std::vector<std::uint32_t> entry_of(const storage_tree& storage, std::size_t header, std::uint32_t tag)
{
    const auto* stream = find_stream(storage, msg::properties_stream);
    const std::string list = stream ? to_string(*stream->contents) : std::string();
    for (std::size_t at = header; at + 16 <= list.size(); at += 16) {
        if (msg::u32_at(list, at) == tag) {
            return {msg::u32_at(list, at), msg::u32_at(list, at + 4), msg::u32_at(list, at + 8),
                    msg::u32_at(list, at + 12)};
        }
    }
    return {};
}

message_record note(std::wstring_view subject)
{
    message_record record;
    record.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
    record.properties->set(PR_SUBJECT_W, property_value::of_text(subject));
    record.properties->set(0x1000001F, property_value::of_text(L"All is well. \x20AC"));
    record.properties->set(PR_HTML, property_value::of_binary(bytes_of("<p>All is well.</p>")));
    record.properties->set(PR_NATIVE_BODY_INFO, property_value::of_long(3));
    auto recipient = std::make_shared<property_bag>();
    recipient->set(PR_RECIPIENT_TYPE, property_value::of_long(MAPI_TO));
    recipient->set(PR_DISPLAY_NAME_W, property_value::of_text(L"Anna"));
    record.recipients.push_back(std::move(recipient));
    record.attachments.emplace(0, file_attachment(L"a.txt", "contents of a"));
    return record;
}

class MsgWriting : public MsgTest
{
protected:
    storage_ptr written(const message_record& record)
    {
        write_msg(record, place());
        return msg::read_compound_file(place());
    }
};

TEST_F(MsgWriting, MakesTheRootOfAMessageFile)
{
    const auto root = written(note(L"Hello"));
    EXPECT_EQ(msg::message_class_id, root->class_id);
    const std::string list = to_string(*find_stream(*root, msg::properties_stream)->contents);
    const auto header = made_object(list.substr(0, 32));
    EXPECT_EQ(std::string(8, '\0'), list.substr(0, 8));
    EXPECT_EQ(1U, msg::u32_at(list, 8));  // the next recipient
    EXPECT_EQ(1U, msg::u32_at(list, 12)); // the next attachment
    EXPECT_EQ(1U, msg::u32_at(list, 16));
    EXPECT_EQ(1U, msg::u32_at(list, 20));
    EXPECT_EQ(std::string(8, '\0'), list.substr(24, 8));
    EXPECT_EQ(0U, (list.size() - 32) % 16);
    EXPECT_TRUE(find_storage(*root, "__recip_version1.0_#00000000"));
    EXPECT_TRUE(find_storage(*root, "__attach_version1.0_#00000000"));
    EXPECT_TRUE(find_storage(*root, "__nameid_version1.0"));
}

TEST_F(MsgWriting, TellsSizesFlagsAndWhatTheFormatWants)
{
    const auto root = written(note(L"Hello"));
    using numbers = std::vector<std::uint32_t>;
    EXPECT_EQ((numbers{PR_SUBJECT_W, 6, 12, 0}), entry_of(*root, 32, PR_SUBJECT_W)); // 10 bytes and the terminator
    EXPECT_EQ((numbers{PR_HTML, 6, 19, 0}), entry_of(*root, 32, PR_HTML));
    EXPECT_EQ((numbers{PR_NATIVE_BODY_INFO, 6, 3, 0}), entry_of(*root, 32, PR_NATIVE_BODY_INFO));
    EXPECT_EQ((numbers{0x340D0003, 6, 0x40000, 0}), entry_of(*root, 32, 0x340D0003)); // all texts are Unicode
    EXPECT_EQ((numbers{PR_HASATTACH, 6, 1, 0}), entry_of(*root, 32, PR_HASATTACH));
    EXPECT_EQ(to_utf16le(L"Hello"), to_string(*find_stream(*root, "__substg1.0_0037001F")->contents));
    const auto attachment = find_storage(*root, "__attach_version1.0_#00000000");
    EXPECT_EQ((numbers{PR_ATTACH_NUM, 6, 0, 0}), entry_of(*attachment, 8, PR_ATTACH_NUM));
    EXPECT_EQ((numbers{PR_ATTACH_DATA_BIN, 6, 13, 0}), entry_of(*attachment, 8, PR_ATTACH_DATA_BIN));
    const auto recipient = find_storage(*root, "__recip_version1.0_#00000000");
    EXPECT_EQ((numbers{0x30000003, 6, 0, 0}), entry_of(*recipient, 8, 0x30000003));
}

TEST_F(MsgWriting, GivesTheRecordBack)
{
    const message_record record = note(L"Hello");
    written(record);
    EXPECT_EQ("", difference(record, read(place())));
}

TEST_F(MsgWriting, WritesValuesOfEveryType)
{
    message_record record;
    const auto set = [&record](std::uint32_t tag, property_value value) {
        value.type = PROP_TYPE(tag);
        record.properties->set(tag, std::move(value));
    };
    set(0x60000002, {0, std::int64_t{-2}});
    set(0x60010003, {0, std::int64_t{-2}});
    set(0x60020004, {0, 1.25});
    set(0x60030005, {0, -2.5});
    set(0x60040006, {0, std::int64_t{0x100000007}});
    set(0x60050007, {0, 2.5});
    set(0x6006000A, {0, std::int64_t{-5}});
    set(0x6007000B, {0, std::int64_t{1}});
    set(0x60080014, {0, std::int64_t{INT64_MIN}});
    set(0x60090040, {0, std::int64_t{5}});
    set(0x600A0048, {0, verdict_set});
    set(0x600B0102, {0, bytes_of(std::string("a\0b", 3))});
    set(0x600C001F, {0, std::make_shared<const std::wstring>()});
    set(0x600D1002, {0, std::vector<std::int64_t>{1, -2}});
    set(0x600E1003, {0, std::vector<std::int64_t>{3, -4}});
    set(0x600F1004, {0, std::vector<double>{0.5}});
    set(0x60101005, {0, std::vector<double>{0.25, 4}});
    set(0x60111007, {0, std::vector<double>{8}});
    set(0x60121014, {0, std::vector<std::int64_t>{INT64_MAX}});
    set(0x60131040, {0, std::vector<std::int64_t>{}});
    set(0x60141048, {0, std::vector<GUID>{verdict_set, {}}});
    set(0x6015101F, {0, std::vector<std::wstring>{L"Größe", std::wstring()}});
    set(0x60161102, {0, std::vector<std::string>{"", std::string(2, '\0')}});
    set(0x601700FB, {0, bytes_of("of a type that nobody knows")});
    set(0x601800FD, {0, std::int64_t{0x1122334455667788}});
    const auto root = written(record);
    EXPECT_EQ("", difference(record, read(place())));
    // The lengths of a list of texts include their terminators, those of binary data are followed by four unused bytes.
    EXPECT_EQ(12U, msg::u32_at(to_string(*find_stream(*root, "__substg1.0_6015101F")->contents), 0));
    EXPECT_EQ(16U, find_stream(*root, "__substg1.0_60161102")->contents->size());
}

TEST_F(MsgWriting, WritesLargeContentsAndTheirDigestComesBack)
{
    std::string large(5000000, '\0');
    std::mt19937 random(7);
    for (char& letter : large) {
        letter = static_cast<char>(random());
    }
    message_record record = note(L"Large");
    record.attachments.emplace(1, file_attachment(L"large.bin", large));
    record.properties->set(0x1000001F, property_value::of_text(std::wstring(200000, L'\x20AC')));
    written(record);
    EXPECT_EQ("", difference(record, read(place())));
}

TEST_F(MsgWriting, WritesEmbeddedMessagesInTheirForm)
{
    message_record inner = note(L"Inner");
    inner.attachments.emplace(1, message_attachment(note(L"Innermost")));
    message_record record = note(L"Outer");
    inner.store = record.store;
    record.attachments.emplace(7, message_attachment(inner));
    const auto root = written(record);
    EXPECT_EQ("", difference(record, read(place())));
    const auto attachment = find_storage(*root, "__attach_version1.0_#00000007");
    ASSERT_TRUE(attachment);
    EXPECT_EQ((std::vector<std::uint32_t>{PR_ATTACH_DATA_OBJ, 6, 0xFFFFFFFF, 1}),
              entry_of(*attachment, 8, PR_ATTACH_DATA_OBJ));
    const auto message = find_storage(*attachment, "__substg1.0_3701000D");
    ASSERT_TRUE(message);
    EXPECT_FALSE(find_storage(*message, "__nameid_version1.0"));
    EXPECT_FALSE(entry_of(*message, 24, PR_SUBJECT_W).empty());
    EXPECT_EQ(2U, msg::u32_at(to_string(*find_stream(*message, msg::properties_stream)->contents), 20));
}

TEST_F(MsgWriting, CopiesOleStorages)
{
    const auto object = made_object::part().stream("CONTENTS", "x").build();
    message_record record = note(L"With an object");
    attachment_record attachment;
    attachment.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_OLE));
    attachment.properties->set(PR_ATTACH_DATA_OBJ, {PT_OBJECT, object});
    record.attachments.emplace(1, attachment);
    const auto root = written(record);
    EXPECT_EQ("", difference(record, read(place())));
    const auto storage = find_storage(*root, "__attach_version1.0_#00000001");
    EXPECT_EQ((std::vector<std::uint32_t>{PR_ATTACH_DATA_OBJ, 6, 0xFFFFFFFF, 4}),
              entry_of(*storage, 8, PR_ATTACH_DATA_OBJ));
}

TEST_F(MsgWriting, LeavesOutTheEntryIdentifierOfTheStore)
{
    message_record record = note(L"Hello");
    record.properties->set(PR_ENTRYID, property_value::of_binary(bytes_of("of this store")));
    EXPECT_FALSE(find_stream(*written(record), "__substg1.0_0FFF0102"));
}

TEST_F(MsgWriting, WritesNarrowTextOfANewMessageAsUnicode)
{
    message_record record = note(L"Hello");
    record.properties->set(0x6100001E, {PT_STRING8, bytes_of(winapi::conv_to_char(L"Привет", 1251)), 1251});
    record.properties->set(0x6101101E, {PT_STRING8 | MV_FLAG, std::vector<std::string>{"a", "b"}});
    written(record);
    const message_record again = read(place());
    EXPECT_EQ(PT_UNICODE, property(*again.properties, 0x6100001F).type);
    EXPECT_EQ(L"Привет", property(*again.properties, 0x6100001F).wide());
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b"}),
              std::get<std::vector<std::wstring>>(property(*again.properties, 0x6101101F).data));
}

/// Applies the changes of the add-in for a condemned message to one from a message file.
TEST_F(MsgWriting, ChangesOnlyWhatWasChanged)
{
    const auto file = make(plain_message()
                               .entry(0x60010003, 1, 0xDEADBEEF, 3)
                               .entry(PR_HASATTACH, 1)
                               .stream("unknown", "x")
                               .attachment(0, file_part("bad").entry(PR_ATTACH_SIZE, 999))
                               .attachment(1, file_part("good").entry(PR_ATTACH_SIZE, 999)),
                           "before.msg");
    message_record stored = read(file);
    const auto message = MakeCom<message_object>(stored, true, [&stored](const message_record& changed) {
        stored = changed.copy();
        return HRESULT{S_OK};
    });
    ASSERT_EQ(S_OK, message->DeleteAttach(0, 0, nullptr, 0));
    ULONG number = 0;
    ComPtr<IAttach> notice;
    ASSERT_EQ(S_OK, message->CreateAttach(nullptr, 0, &number, Receive(notice)));
    EXPECT_EQ(2U, number);
    SPropValue values[]{long_value(PR_ATTACH_METHOD, 1), text_value(PR_ATTACH_LONG_FILENAME_W, L"bad.txt")};
    ASSERT_EQ(S_OK, notice->SetProps(2, values, nullptr));
    write(open_stream(notice.get(), PR_ATTACH_DATA_BIN, MAPI_CREATE | MAPI_MODIFY).get(), "removed");
    ASSERT_EQ(S_OK, notice->SaveChanges(KEEP_OPEN_READWRITE));
    auto subject = text_value(PR_SUBJECT_W, L"[condemned] Crane inspection");
    ASSERT_EQ(S_OK, message->SetProps(1, &subject, nullptr));
    ASSERT_EQ(S_OK, message->SaveChanges(0));

    const auto root = written(stored);
    const message_record again = read(place());
    EXPECT_EQ("", difference(stored, again));
    EXPECT_EQ((std::vector<std::uint32_t>{0x60010003, 3, 1, 0xDEADBEEF}), entry_of(*root, 32, 0x60010003));
    EXPECT_TRUE(find_stream(*root, "unknown"));
    EXPECT_FALSE(find_storage(*root, "__attach_version1.0_#00000000"));
    ASSERT_EQ(2U, again.attachments.size());
    EXPECT_EQ("good", bytes_in(*again.attachments.at(1).properties, PR_ATTACH_DATA_BIN));
    EXPECT_EQ(999, property(*again.attachments.at(1).properties, PR_ATTACH_SIZE).number()); // unchanged
    EXPECT_EQ("removed", bytes_in(*again.attachments.at(2).properties, PR_ATTACH_DATA_BIN));
    const std::string list = to_string(*find_stream(*root, msg::properties_stream)->contents);
    EXPECT_EQ(3U, msg::u32_at(list, 12)); // the next attachment
    EXPECT_EQ(2U, msg::u32_at(list, 20));
}

TEST_F(MsgWriting, TellsThatTheLastAttachmentWentAndTheNewSizeOfAChangedOne)
{
    message_record record = read(make(plain_message().entry(PR_HASATTACH, 1).attachment(0, file_part("x"))));
    record.attachments.clear();
    EXPECT_EQ(0U, entry_of(*written(record), 32, PR_HASATTACH).at(2));
    record = read(make(plain_message().attachment(0, file_part("x").entry(PR_ATTACH_SIZE, 999))));
    record.attachments.at(0).properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of("12345")));
    const auto root = written(record);
    EXPECT_EQ(5U, entry_of(*find_storage(*root, "__attach_version1.0_#00000000"), 8, PR_ATTACH_SIZE).at(2));
}

TEST_F(MsgWriting, KeepsTheFormOfTheTextsOfANarrowMessage)
{
    const auto file = make(made_object::message()
                               .narrow(PR_SUBJECT_W - 1, winapi::conv_to_char(L"Договор", 1251))
                               .entry(tag::message_code_page, 1251));
    message_record record = read(file);
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"Не договор"));
    record.properties->set(0x6100001F, property_value::of_text(L"Größe")); // not in that code page
    record.attachments.emplace(0, file_attachment(L"файл", "x"));
    written(record);
    const message_record again = read(place());
    EXPECT_EQ(PT_STRING8, property(*again.properties, PR_SUBJECT_W).type);
    EXPECT_EQ(L"Не договор", property(*again.properties, PR_SUBJECT_W).wide());
    EXPECT_EQ(PT_UNICODE, property(*again.properties, 0x6100001F).type);
    EXPECT_EQ(L"Größe", property(*again.properties, 0x6100001F).wide());
    const property_value& name = property(*again.attachments.at(0).properties, PR_ATTACH_LONG_FILENAME_W);
    EXPECT_EQ(PT_STRING8, name.type);
    EXPECT_EQ(L"файл", name.wide());
}

TEST_F(MsgWriting, WritesNoTextInTheSevenBitPageOfAMessageInTransit)
{
    const auto file =
        make(made_object::message().narrow(PR_SUBJECT_W - 1, "\x93\xFA\x96{").entry(PR_INTERNET_CPID, 50220));
    message_record record = read(file);
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"本日"));
    written(record);
    EXPECT_EQ("\x96{\x93\xFA", bytes_in(*read(place()).properties, PR_SUBJECT_W));
}

TEST_F(MsgWriting, WritesAnEmbeddedMessageOfAFileAsAFileOfItsOwn)
{
    const auto inner = made_object::embedded().text(PR_SUBJECT_W, L"inner").stream("kept", "too");
    const message_record record =
        read(make(plain_message().attachment(0, made_object::part()
                                                    .entry(PR_ATTACH_METHOD, 5)
                                                    .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
                                                    .storage("__substg1.0_3701000D", inner.build()))));
    const auto root = written(*record.attachments.at(0).embedded);
    EXPECT_EQ(msg::message_class_id, root->class_id);
    EXPECT_EQ("", difference(*record.attachments.at(0).embedded, read(place())));
    EXPECT_TRUE(find_stream(*root, "kept"));
}

TEST_F(MsgWriting, LosesNoNamesToAPartOfTheFileThatIsCalledLikeTheirs)
{
    const property_name verdict{{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0, 0x0D, 0x0F, 0xD6}}, 1};
    const auto inner =
        made_object::embedded().storage("__nameid_version1.0", made_object("").stream("other", "names").build());
    for (const bool as_stream : {true, false}) {
        message_record record;
        if (as_stream) {
            record = read(make(plain_message().stream("__NameID_version1.0", "none").build()));
        } else {
            record = read(make(plain_message().attachment(0, made_object::part()
                                                                 .entry(PR_ATTACH_METHOD, 5)
                                                                 .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
                                                                 .storage("__substg1.0_3701000D", inner.build()))));
            record = record.attachments.at(0).embedded->copy();
        }
        const std::uint32_t tag = PROP_TAG(PT_LONG, record.store->names.id_of(verdict, true));
        record.properties->set(tag, property_value::of_long(2));
        write_msg(record, place("again.msg"));
        const message_record again = read(place("again.msg"));
        const std::uint32_t id = again.store->names.id_of(verdict, false);
        ASSERT_NE(0U, id) << as_stream;
        EXPECT_EQ(2, property(*again.properties, PROP_TAG(PT_LONG, id)).number()) << as_stream;
    }
}

TEST_F(MsgWriting, WritesOverTheFileThatTheMessageCameFrom)
{
    const auto file = make(plain_message().attachment(0, file_part(std::string(300000, 'x'))));
    message_record record = read(file);
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"Changed"));
    write_msg(record, file);
    EXPECT_EQ("", difference(record, read(file)));
}

TEST_F(MsgWriting, LeavesTheOldFileWhenItCannotWriteTheNewOne)
{
    const auto file = make(plain_message());
    const std::string before = contents_of(file);
    message_record record = read(file);
    class failing final : public bytes
    {
    public:
        [[nodiscard]] std::uint64_t size() const override { return 100000; }
        std::size_t read(std::uint64_t, void*, std::size_t) const override
        {
            throw std::runtime_error("the disk is gone");
        }
    };
    record.properties->set(0x61000102, property_value::of_binary(std::make_shared<failing>()));
    try {
        write_msg(record, file);
        FAIL() << "was written";
    } catch (const std::runtime_error& reason) {
        EXPECT_STREQ("the disk is gone", reason.what());
    }
    EXPECT_EQ(before, contents_of(file));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(folder.path()), {}));
}

TEST_F(MsgWriting, RefusesContentsThatAreTooLargeForAFile)
{
    class endless final : public bytes
    {
    public:
        [[nodiscard]] std::uint64_t size() const override { return std::uint64_t{1} << 32U; }
        std::size_t read(std::uint64_t, void*, std::size_t) const override { return 0; }
    };
    message_record record;
    record.attachments[0].properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(std::make_shared<endless>()));
    try {
        write_msg(record, place());
        FAIL() << "was written";
    } catch (const std::runtime_error& reason) {
        EXPECT_STREQ("a part of the message is larger than a message file can hold", reason.what());
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(MsgWriting, GivesGeneratedMessagesBack)
{
    std::mt19937 random(11);
    const auto below = [&random](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); };
    const auto text = [&] {
        std::wstring result;
        for (std::uint32_t i = below(40); i > 0; --i) {
            result.push_back(static_cast<wchar_t>(below(4) == 0 ? 0x400 + below(64) : 0x20 + below(90)));
        }
        return result;
    };
    const auto fill = [&](property_bag& bag, name_table& names) {
        for (std::uint32_t i = below(12); i > 0; --i) {
            const std::uint32_t id =
                below(3) == 0
                    ? names.id_of(below(2) == 0 ? property_name{verdict_set, static_cast<std::int32_t>(below(9))}
                                                : property_name{PS_INTERNET_HEADERS, text()},
                                  true)
                    : 0x6000 + below(200);
            switch (below(4)) {
            case 0:
                bag.set(PROP_TAG(PT_LONG, id), property_value::of_long(static_cast<std::int32_t>(random())));
                break;
            case 1:
                bag.set(PROP_TAG(PT_UNICODE, id), property_value::of_text(text()));
                break;
            case 2:
                bag.set(PROP_TAG(PT_BINARY, id), property_value::of_binary(bytes_of(std::string(below(9000), 'b'))));
                break;
            default:
                bag.set(PROP_TAG(PT_UNICODE | MV_FLAG, id),
                        {PT_UNICODE | MV_FLAG, std::vector<std::wstring>{text(), text()}});
                break;
            }
        }
    };
    for (int i = 0; i < 60; ++i) {
        message_record record = note(text());
        fill(*record.properties, record.store->names);
        for (std::uint32_t k = below(5); k > 0; --k) {
            auto attachment = file_attachment(text(), std::string(below(20000), 'a'));
            fill(*attachment.properties, record.store->names);
            record.attachments.emplace(below(100), attachment);
        }
        if (below(3) == 0) {
            message_record inner = note(text());
            inner.store = record.store;
            fill(*inner.properties, record.store->names);
            record.attachments.emplace(100, message_attachment(inner));
        }
        written(record);
        ASSERT_EQ("", difference(record, read(place()))) << i;
        ASSERT_EQ("", rewriting_differs(place())) << i;
    }
}

} // namespace msg_writing_test
} // namespace host::test
