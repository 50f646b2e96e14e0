// Message files that are created with libgsf only, without any code of this project: read, and written again stream by
// stream. Also files of this project that libgsf reads.

#include "mail/msg/compound_check.h"
#include "tests/mail/msg/msg_fixture.h"

#include <array>
#include <functional>
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>

namespace host::test {
namespace {

using children = std::function<void(GsfOutfile* folder)>;

void add_stream(GsfOutfile* parent, const char* name, std::string_view contents)
{
    GsfOutput* stream = gsf_outfile_new_child(parent, name, FALSE);
    gsf_output_write(stream, contents.size(), reinterpret_cast<const guint8*>(contents.data()));
    gsf_output_close(stream);
    g_object_unref(stream);
}

void add_storage(GsfOutfile* parent, const char* name, const children& fill)
{
    GsfOutput* storage = gsf_outfile_new_child(parent, name, TRUE);
    fill(GSF_OUTFILE(storage));
    gsf_output_close(storage);
    g_object_unref(storage);
}

void make_file(const std::filesystem::path& file, const children& fill)
{
    constexpr std::array<guint8, 16> outlook_message{0x0B, 0x0D, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    gsf_init();
    GsfOutput* sink = gsf_output_stdio_new(file.c_str(), nullptr);
    GsfOutfile* root = gsf_outfile_msole_new(sink);
    gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(root), outlook_message.data());
    fill(root);
    gsf_output_close(GSF_OUTPUT(root));
    g_object_unref(root);
    g_object_unref(sink);
}

std::string raw(std::initializer_list<std::uint32_t> numbers)
{
    std::string result;
    for (const std::uint32_t number : numbers) {
        for (int shift = 0; shift < 32; shift += 8) {
            result.push_back(static_cast<char>(number >> shift));
        }
    }
    return result;
}

std::string utf16(std::string_view ascii)
{
    std::string result;
    for (const char letter : ascii) {
        result += letter;
        result += '\0';
    }
    return result;
}

class GsfMadeMsg : public MsgTest
{};

TEST_F(GsfMadeMsg, WithEverythingTheFormatHasIsKeptByteForByte)
{
    make_file(place(), [](GsfOutfile* root) {
        add_stream(root, "__properties_version1.0",
                   raw({0, 0, 1, 3, 1, 3, 0, 0}) +              //
                       raw({0x001A001F, 6, 18, 0}) +            // IPM.Note
                       raw({0x0037001E, 6, 8, 0}) +             // narrow
                       raw({0x3FFD0003, 6, 1251, 0xCCCCCCCC}) + // its code page
                       raw({0x340D0003, 2, 0, 0}) +             //
                       raw({0x10090102, 6, 6, 0}) +             // RTF
                       raw({0x80000003, 6, 2, 0}) +             // named by a number
                       raw({0x8001001F, 6, 6, 0}) +             // named by a text
                       raw({0x8002101F, 6, 8, 0}) +             // a list
                       raw({0x66660FFF, 6, 4, 7}) +             // of an unknown type
                       raw({0x6667007B, 1, 0xAABBCCDD, 0x11223344}));
        add_stream(root, "__substg1.0_001A001F", utf16("IPM.Note"));
        add_stream(root, "__substg1.0_0037001E", "\xC4\xEE\xE3\xEE\xE2\xEE\xF0");
        add_stream(root, "__substg1.0_10090102", "LZFu..");
        add_stream(root, "__substg1.0_8001001F", utf16("ab"));
        add_stream(root, "__substg1.0_8002101F", raw({4, 6}));
        add_stream(root, "__substg1.0_8002101F-00000000", utf16(std::string_view("a\0", 2)));
        add_stream(root, "__substg1.0_8002101F-00000001", utf16(std::string_view("bc\0", 3)));
        add_stream(root, "__substg1.0_66660FFF", "????");
        add_stream(root, "unknown", "stream");
        add_storage(root, "__nameid_version1.0", [](GsfOutfile* names) {
            add_stream(names, "__substg1.0_00020102", std::string(16, '\x11'));
            add_stream(names, "__substg1.0_00030102",
                       raw({0x8530, 3U << 1U, 0, (3U << 1U | 1U) | 1U << 16U, 8, (2U << 1U | 1U) | 2U << 16U}));
            add_stream(names, "__substg1.0_00040102", raw({4}) + utf16("x1") + raw({16}) + utf16("Keywords"));
            add_stream(names, "__substg1.0_10010102", "whatever its writer thought");
        });
        add_storage(root, "__recip_version1.0_#00000000", [](GsfOutfile* recipient) {
            add_stream(recipient, "__properties_version1.0",
                       raw({0, 0}) + raw({0x0C150003, 6, 1, 0}) + raw({0x3001001E, 6, 3, 0}));
            add_stream(recipient, "__substg1.0_3001001E", "\xDF\xFF");
        });
        add_storage(root, "__attach_version1.0_#00000000", [](GsfOutfile* attachment) {
            add_stream(attachment, "__properties_version1.0",
                       raw({0, 0}) + raw({0x37050003, 6, 1, 0}) + raw({0x37010102, 6, 50000, 0}));
            add_stream(attachment, "__substg1.0_37010102", std::string(50000, 'x'));
        });
        add_storage(root, "__attach_version1.0_#00000001", [](GsfOutfile* attachment) {
            add_stream(attachment, "__properties_version1.0",
                       raw({0, 0}) + raw({0x37050003, 6, 5, 0}) + raw({0x3701000D, 6, 0xFFFFFFFF, 1}));
            add_storage(attachment, "__substg1.0_3701000D", [](GsfOutfile* message) {
                add_stream(message, "__properties_version1.0",
                           raw({0, 0, 0, 0, 0, 0}) + raw({0x0037001F, 6, 8, 0}) + raw({0x80000003, 6, 9, 0}));
                add_stream(message, "__substg1.0_0037001F", utf16("abc"));
            });
        });
        add_storage(root, "__attach_version1.0_#00000002", [](GsfOutfile* attachment) {
            add_stream(attachment, "__properties_version1.0",
                       raw({0, 0}) + raw({0x37050003, 6, 6, 0}) + raw({0x3701000D, 6, 0xFFFFFFFF, 4}));
            add_storage(attachment, "__substg1.0_3701000D", [](GsfOutfile* object) {
                add_stream(object, "\001Ole", "ole");
                add_storage(object, "Inner", [](GsfOutfile* inner) { add_stream(inner, "CONTENTS", "contents"); });
            });
        });
    });
    const message_record record = read(place());
    EXPECT_EQ(L"Договор", property(*record.properties, PR_SUBJECT_W).wide());
    EXPECT_EQ("LZFu..", bytes_in(*record.properties, 0x10090102));
    EXPECT_EQ(L"Яя", property(*record.recipients.at(0), PR_DISPLAY_NAME_W).wide());
    constexpr GUID set{0x11111111, 0x1111, 0x1111, {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11}};
    const auto named = [&](const property_name& name) { return record.store->names.id_of(name, false); };
    EXPECT_EQ(2, property(*record.properties, PROP_TAG(PT_LONG, named({set, 0x8530}))).number());
    EXPECT_EQ(L"ab", property(*record.properties, PROP_TAG(PT_UNICODE, named({set, L"x1"}))).wide());
    EXPECT_EQ(50000U, record.attachments.at(0).size());
    ASSERT_TRUE(record.attachments.at(1).embedded);
    EXPECT_EQ(
        9, property(*record.attachments.at(1).embedded->properties, PROP_TAG(PT_LONG, named({set, 0x8530}))).number());
    EXPECT_EQ("", rewriting_differs(place()));
}

TEST_F(GsfMadeMsg, MayHaveThousandsOfAttachments)
{
    auto object = plain_message();
    const auto part = file_part("x");
    for (std::uint32_t i = 0; i < 3000; ++i) {
        object.attachment(i, part);
    }
    const auto file = make(object);
    EXPECT_EQ(3000U, read(file).attachments.size());
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(GsfMadeMsg, IsRefusedForAStorageOfTooManyParts)
{
    for (const std::size_t more : {0U, 1U}) {
        make_file(place(), [more](GsfOutfile* root) {
            add_stream(root, "__properties_version1.0", std::string(32, '\0'));
            add_storage(root, "Inner", [more](GsfOutfile* inner) {
                for (std::size_t i = 0; i < msg::most_parts + more; ++i) {
                    add_stream(inner, std::to_string(i).c_str(), "");
                }
            });
        });
        EXPECT_EQ(more == 0 ? "" : "its table of contents is too long", refusal(place()));
    }
}

TEST_F(GsfMadeMsg, WithSectorsOf4096BytesIsRead)
{
    gsf_init();
    GsfOutput* sink = gsf_output_stdio_new(place().c_str(), nullptr);
    GsfOutfile* root = gsf_outfile_msole_new_full(sink, 4096, 64);
    add_stream(root, "__properties_version1.0",
               raw({0, 0, 0, 0, 0, 0, 0, 0}) + raw({0x0037001F, 6, 8, 0}) + raw({0x10130102, 6, 70000, 0}));
    add_stream(root, "__substg1.0_0037001F", utf16("abc"));
    add_stream(root, "__substg1.0_10130102", std::string(70000, 'h'));
    gsf_output_close(GSF_OUTPUT(root));
    g_object_unref(root);
    g_object_unref(sink);
    const message_record record = read(place());
    EXPECT_EQ(L"abc", property(*record.properties, PR_SUBJECT_W).wide());
    EXPECT_EQ(std::string(70000, 'h'), bytes_in(*record.properties, PR_HTML));
}

/// Returns the contents of a storage as libgsf reads them.
storage_ptr contents_in_gsf(GsfInfile* storage)
{
    auto tree = std::make_shared<storage_tree>();
    gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(storage), reinterpret_cast<guint8*>(&tree->class_id));
    for (int i = 0; i < gsf_infile_num_children(storage); ++i) {
        GsfInput* child = gsf_infile_child_by_index(storage, i);
        const char* name = gsf_infile_name_by_index(storage, i);
        if (gsf_infile_num_children(GSF_INFILE(child)) >= 0) {
            tree->storages.push_back({name, contents_in_gsf(GSF_INFILE(child))});
        } else {
            std::string contents(static_cast<std::size_t>(gsf_input_size(child)), '\0');
            EXPECT_TRUE(contents.empty() ||
                        gsf_input_read(child, contents.size(), reinterpret_cast<guint8*>(contents.data())));
            tree->streams.push_back({name, bytes_of(std::move(contents))});
        }
        g_object_unref(child);
    }
    return tree;
}

TEST_F(GsfMadeMsg, IsReadByGsfAsItWasWritten)
{
    storage_tree inner{{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, {}, {{"Empty", std::make_shared<storage_tree>()}}};
    for (const std::size_t size : {0U, 1U, 64U, 65U, 4095U, 4096U, 4097U}) {
        inner.streams.push_back({"Договор " + std::to_string(size), bytes_of(std::string(size, 'a'))});
    }
    storage_tree root{msg::message_class_id, {}, {{"Inner", std::make_shared<storage_tree>(inner)}}};
    root.streams.push_back({"large enough for a list of tables", bytes_of(std::string(9000000, 'b'))});
    root.streams.back().name.resize(msg::longest_part_name);
    msg::write_compound_file(root, place());
    gsf_init();
    GsfInput* source = gsf_input_stdio_new(place().c_str(), nullptr);
    GsfInfile* file = gsf_infile_msole_new(source, nullptr);
    ASSERT_NE(nullptr, file);
    EXPECT_EQ("", difference(root, *contents_in_gsf(file)));
    g_object_unref(file);
    g_object_unref(source);
}

} // namespace
} // namespace host::test
