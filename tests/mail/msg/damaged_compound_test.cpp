// Damaged compound files: each is rejected with a reason, and none keeps the reader busy or makes it read beyond the
// file.

#include "tests/mail/msg/msg_fixture.h"

#include <random>

namespace host::test {
namespace {

constexpr const char* cut = "it is not a whole file: a part of it is missing";
constexpr const char* table = "its table of contents is damaged";
constexpr const char* twice = "two parts of it claim the same place";
constexpr const char* header = "its header is damaged";

/// A file with a large stream, small streams and storages, as bytes to be damaged.
class DamagedCompoundFile : public MsgTest
{
protected:
    DamagedCompoundFile()
    {
        const auto part = file_part(std::string(9000, 'd'));
        const std::wstring topic(200, L't'); // several small sectors
        whole = contents_of(
            make(plain_message().text(0x0070001F, topic).attachment(0, part).attachment(1, file_part("small"))));
    }

    [[nodiscard]] std::uint32_t u32(std::size_t offset) const { return msg::u32_at(whole, offset); }
    [[nodiscard]] std::size_t sector(std::uint32_t number) const { return (number + std::size_t{1}) * 512; }
    [[nodiscard]] std::size_t directory() const { return sector(u32(48)); }
    /// Returns the first directory entry of that type whose name begins with `name`.
    [[nodiscard]] std::size_t entry(char type, std::string_view name) const
    {
        const std::string wide = to_utf16le(std::wstring(name.begin(), name.end()));
        for (std::size_t at = directory(); at + 128 <= whole.size(); at += 128) {
            if (whole[at + 66] == type && whole.compare(at, wide.size(), wide) == 0) {
                return at;
            }
        }
        ADD_FAILURE() << "no entry " << name;
        return directory();
    }
    static std::string changed(std::string data, std::size_t offset, std::uint32_t number, std::size_t width = 4)
    {
        std::string bytes;
        msg::append_u32(bytes, number);
        return data.replace(offset, width, bytes.substr(0, width));
    }
    /// Returns the reason for the rejection of the file with another number at that offset.
    std::string with(std::size_t offset, std::uint32_t number, std::size_t width = 4)
    {
        return refusal(folder.write("damaged.msg", changed(whole, offset, number, width)));
    }

    std::string whole;
};

TEST_F(DamagedCompoundFile, IsReadWithoutADamage)
{
    EXPECT_EQ("", refusal(folder.write("copy.msg", whole)));
}

TEST_F(DamagedCompoundFile, IsRefusedOrReadWholeWhereverItIsCut)
{
    const message_record expected = read(folder.write("whole.msg", whole));
    std::size_t refused = 0;
    for (std::size_t size = 0; size < whole.size(); size += 64) {
        const auto file = folder.write("cut.msg", whole.substr(0, size));
        const std::string reason = refusal(file);
        refused += reason.empty() ? 0 : 1;
        if (reason.empty()) { // only padding was cut off
            EXPECT_EQ("", difference(expected, read(file))) << size;
        }
    }
    EXPECT_GT(refused, whole.size() / 64 * 9 / 10);
}

TEST_F(DamagedCompoundFile, IsRefusedForItsHeader)
{
    EXPECT_EQ(header, with(26, 5, 2));    // an undefined version
    EXPECT_EQ(header, with(28, 0xFF, 2)); // the byte order
    EXPECT_EQ(header, with(30, 12, 2));   // the sector size of the other version
    EXPECT_EQ(header, with(30, 63, 2));
    EXPECT_EQ(header, with(32, 0, 2));
    EXPECT_EQ(header, with(56, 0x7FFFFFFF));
}

TEST_F(DamagedCompoundFile, IsRefusedForHugeCounts)
{
    EXPECT_EQ(cut, with(44, 0xFFFFFFFF)); // sectors of the sector table
    EXPECT_EQ(cut, with(44, 110));
    EXPECT_EQ(cut, with(72, 0xFFFFFFFF)); // sectors with the positions of the sector table
    EXPECT_EQ(cut, with(entry(2, "__substg1.0_37010102") + 120, 0x7FFFFFFF)); // size of a stream
    EXPECT_EQ(cut, with(directory() + 120, 0xFFFFFFFF));                      // size of the small streams' container
}

TEST_F(DamagedCompoundFile, IsRefusedForPlacesBehindItsEnd)
{
    EXPECT_EQ(cut, with(48, 0x00FFFFFF)); // the directory
    EXPECT_EQ(cut, with(60, 0x00FFFFFF)); // the table of small sectors
    EXPECT_EQ(cut, with(76, 0x00FFFFFF)); // the sector table
    EXPECT_EQ(cut, with(entry(2, "__substg1.0_37010102") + 116, 0x00FFFFFF));
    EXPECT_EQ(cut, with(entry(2, "__substg1.0_0037001F") + 116, 0x00FFFFFF));
}

TEST_F(DamagedCompoundFile, IsRefusedForChainsThatRunInACircle)
{
    const std::uint32_t first = u32(entry(2, "__substg1.0_37010102") + 116);
    const std::size_t sectors = sector(u32(76));
    EXPECT_EQ(twice, with(sectors + first * 4, first));
    const std::uint32_t list = u32(48);
    EXPECT_EQ(twice, with(sectors + list * 4, list));
    const std::uint32_t small = u32(entry(2, "__substg1.0_0070001F") + 116);
    EXPECT_EQ(twice, with(sector(u32(60)) + small * 4, small));
}

TEST_F(DamagedCompoundFile, IsRefusedForEntriesOfItsTablesThatLeadNowhere)
{
    const std::string nowhere = "its table of places is damaged";
    EXPECT_EQ(nowhere, with(sector(u32(76)) + 508, 0xFFFF000C)); // of a sector that does not exist
    EXPECT_EQ(nowhere, with(sector(u32(60)) + 508, 0xFFFF000C));
    EXPECT_EQ("", with(sector(u32(60)) + 508, 0xFFFFFFFE));
}

TEST_F(DamagedCompoundFile, IsRefusedForStreamsThatShareASector)
{
    const std::uint32_t other = u32(entry(2, "__substg1.0_1000001F") + 116);
    EXPECT_EQ(twice, with(entry(2, "__substg1.0_0037001F") + 116, other));
}

TEST_F(DamagedCompoundFile, IsRefusedForACircleInItsDirectory)
{
    for (const std::size_t link : {68U, 72U, 76U}) { // left and right sibling, first child
        for (const auto& [type, name] : {std::pair{char{1}, "__attach"}, std::pair{char{2}, "__substg"}}) {
            if (type == 1 || link != 76) {
                const std::size_t at = entry(type, name);
                const auto own = static_cast<std::uint32_t>((at - directory()) / 128);
                EXPECT_EQ(table, with(at + link, own)) << name << link;
                EXPECT_EQ(table, with(at + link, 0)) << name << link; // the root
                EXPECT_EQ(table, with(at + link, 0x00FFFFFF)) << name << link;
            }
        }
    }
}

TEST_F(DamagedCompoundFile, IsRefusedForEntriesThatAreNone)
{
    EXPECT_EQ(table, with(entry(2, "__substg") + 66, 3, 1));  // an undefined type
    EXPECT_EQ(table, with(entry(2, "__substg") + 66, 5, 1));  // a second root
    EXPECT_EQ(table, with(entry(2, "__substg") + 66, 0, 1));  // an unused entry that is referenced
    EXPECT_EQ(table, with(directory() + 66, 1, 1));           // no root
    EXPECT_EQ(table, with(entry(2, "__substg") + 64, 66, 2)); // a name longer than its field
    EXPECT_EQ(table, with(entry(2, "__substg") + 64, 7, 2));
    EXPECT_EQ(table, with(entry(2, "__substg") + 64, 0, 2));
}

TEST_F(DamagedCompoundFile, IsRefusedForTwoPartsOfOneName)
{
    std::string data = whole;
    const std::size_t subject = entry(2, "__substg1.0_0037001F");
    data.replace(entry(2, "__substg1.0_1000001F"), 66, whole.substr(subject, 66));
    EXPECT_EQ(table, refusal(folder.write("damaged.msg", data)));
}

TEST_F(DamagedCompoundFile, NeverEndsOtherwiseThanByAReasonOrAMessage)
{
    std::mt19937 random(20240311);
    std::size_t refused = 0;
    for (int i = 0; i < 600; ++i) {
        std::string data = whole;
        const int changes = 1 + static_cast<int>(random() % 4);
        for (int k = 0; k < changes; ++k) {
            data[random() % data.size()] = static_cast<char>(random());
        }
        refused += refusal(folder.write("damaged.msg", data)).empty() ? 0 : 1;
    }
    EXPECT_GT(refused, 100U);
}

} // namespace
} // namespace host::test
