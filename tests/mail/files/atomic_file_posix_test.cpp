// Behavior that only occurs on systems with permissions and links.

#include "mail/files/atomic_file.h"
#include "mail/msg/compound_file.h"
#include "mail/msg/msg_file.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <iterator>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host::test {
namespace {

namespace fs = std::filesystem;

std::string contents_of(const fs::path& file)
{
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

void fill(const fs::path& file, std::string_view text)
{
    std::ofstream(file, std::ios::binary) << text;
}

/// Drops the superuser's privileges during its lifetime.
class without_privileges
{
public:
    without_privileges()
    {
        constexpr uid_t nobody = 65534;
        if (user_ == 0) {
            EXPECT_EQ(0, ::seteuid(nobody));
        }
    }
    without_privileges(const without_privileges&) = delete;
    without_privileges& operator=(const without_privileges&) = delete;
    ~without_privileges() { EXPECT_EQ(0, ::seteuid(user_)); }

private:
    uid_t user_ = ::geteuid();
};

/// Limits the size of files during its lifetime, like a full disk.
class full_disk
{
public:
    explicit full_disk(rlim_t size)
    {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{size, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    full_disk(const full_disk&) = delete;
    full_disk& operator=(const full_disk&) = delete;
    ~full_disk()
    {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, signal_);
    }

private:
    rlimit before_{};
    void (*signal_)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

message_record large_message()
{
    message_record record;
    record.properties->set(0x61000102, property_value::of_binary(bytes_of(std::string(300000, 'x'))));
    return record;
}

std::string reason_of(const message_record& message, const fs::path& file)
{
    try {
        write_msg(message, file);
        return "(written)";
    } catch (const std::runtime_error& reason) {
        return reason.what();
    }
}

TEST(AtomicFilePosix, NeedsTheRightToWriteIntoTheFolder)
{
    const temporary_folder folder;
    const fs::path target = folder.path() / "report.msg";
    fs::permissions(folder.path(), fs::perms::owner_write, fs::perm_options::remove);
    {
        const without_privileges restricted;
        EXPECT_EQ("Permission denied", reason_of(large_message(), target));
    }
    fs::permissions(folder.path(), fs::perms::owner_write, fs::perm_options::add);
    EXPECT_FALSE(fs::exists(target));
}

TEST(AtomicFilePosix, NeedsTheRightToWriteTheOldFile)
{
    const temporary_folder folder;
    const fs::path target = folder.path() / "report.msg";
    fill(target, "precious");
    fs::permissions(target, fs::perms::owner_read);
    fs::permissions(folder.path(), fs::perms::all); // the folder permits the replacement
    {
        const without_privileges restricted;
        EXPECT_EQ("Permission denied", reason_of(large_message(), target));
    }
    EXPECT_TRUE(contents_of(target) == "precious");
    EXPECT_EQ(1, std::distance(fs::directory_iterator(folder.path()), {}));
}

TEST(AtomicFilePosix, LeavesTheOldFileOnAFullDisk)
{
    const temporary_folder folder;
    const fs::path target = folder.path() / "report.msg";
    fill(target, "precious");
    for (const rlim_t room : {0UL, 100UL, 4096UL, 200000UL}) {
        const full_disk disk(room);
        EXPECT_EQ("File too large", reason_of(large_message(), target)) << room;
    }
    EXPECT_TRUE(contents_of(target) == "precious");
    EXPECT_EQ(1, std::distance(fs::directory_iterator(folder.path()), {}));
}

TEST(AtomicFilePosix, SaysThatADeviceIsFull)
{
    for (const std::size_t size : {1U, 100000U}) {
        storage_tree tree;
        tree.streams.push_back({"a", bytes_of(std::string(size, 'x'))});
        try {
            msg::write_compound_file(tree, "/dev/full");
            FAIL() << "was written";
        } catch (const std::runtime_error& reason) {
            EXPECT_STREQ("No space left on device", reason.what());
        }
    }
}

TEST(AtomicFilePosix, NeverTakesTheNameOfADevice)
{
    EXPECT_EQ("Operation not supported", reason_of(large_message(), "/dev/full"));
    struct stat status = {};
    ASSERT_EQ(0, ::stat("/dev/full", &status));
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST(AtomicFilePosix, GoesWhereALinkLeads)
{
    const temporary_folder folder;
    const temporary_folder elsewhere;
    const fs::path file = elsewhere.path() / "report.eml";
    const fs::path link = folder.path() / "link.eml";
    fill(file, "old");
    fs::create_symlink(file, link);
    write_atomically(link, [](const fs::path& temporary) { fill(temporary, "new"); });
    EXPECT_EQ("new", contents_of(file));
    EXPECT_TRUE(fs::is_symlink(link));
}

TEST(AtomicFilePosix, KeepsThePermissionsOfTheOldFile)
{
    const temporary_folder folder;
    const fs::path target = folder.path() / "report.eml";
    fill(target, "old");
    const auto wanted = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    fs::permissions(target, wanted);
    write_atomically(target, [](const fs::path& temporary) { fill(temporary, "new"); });
    EXPECT_EQ(wanted, fs::status(target).permissions());
}

TEST(AtomicFilePosix, NeverShowsTheNewContentsToMoreThanTheOldOnes)
{
    const temporary_folder folder;
    const fs::path target = folder.path() / "report.eml";
    fill(target, "old");
    const auto wanted = fs::perms::owner_read | fs::perms::owner_write;
    fs::permissions(target, wanted);
    write_atomically(target, [wanted](const fs::path& temporary) {
        EXPECT_EQ(wanted, fs::status(temporary).permissions());
        fill(temporary, "new");
    });
    EXPECT_EQ(wanted, fs::status(target).permissions());
}

TEST(AtomicFilePosix, TakesNamesAsLongAsTheyCanBe)
{
    const temporary_folder folder;
    const fs::path target = folder.path() / std::string(255, 'n');
    write_atomically(target, [](const fs::path& temporary) { fill(temporary, "text"); });
    EXPECT_EQ("text", contents_of(target));
}

} // namespace
} // namespace host::test
