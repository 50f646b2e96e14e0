#include "service/presence/lock_holder_posix.h"
#include "tests/support/ordinary_user_posix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using presence::lock_holder;
using presence::lock_place;
using presence::lock_state;
using presence::look_at;
using testing::HasSubstr;

/// Sets an environment variable for the lifetime of the object.
class variable
{
public:
    variable(const char* name, const char* value)
        : name_(name)
    {
        if (const char* const old = std::getenv(name)) {
            old_ = old;
            had_ = true;
        }
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    variable(const variable&) = delete;
    variable& operator=(const variable&) = delete;
    ~variable() { had_ ? ::setenv(name_, old_.c_str(), 1) : ::unsetenv(name_); }

private:
    const char* name_;
    std::string old_;
    bool had_ = false;
};

class LockFile : public ::testing::Test
{
protected:
    LockFile()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "lock-XXXXXX").string();
        base = ::mkdtemp(pattern.data());
        place = {base + "/postwarden", ::geteuid(), false};
    }
    ~LockFile() override { std::filesystem::remove_all(base); }

    [[nodiscard]] std::string refusal() const
    {
        try {
            const lock_holder holder(place);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return {};
    }
    [[nodiscard]] mode_t mode_of(const std::string& path) const
    {
        struct stat facts = {};
        EXPECT_EQ(::lstat(path.c_str(), &facts), 0);
        return facts.st_mode & 07777;
    }

    std::string base;
    lock_place place;
};

TEST_F(LockFile, IsHeldWhileTheHolderLives)
{
    EXPECT_EQ(look_at(place), lock_state::free) << "not even a folder";
    {
        const lock_holder holder(place);
        EXPECT_EQ(look_at(place), lock_state::held);
    }
    EXPECT_EQ(look_at(place), lock_state::free);
    const lock_holder again(place);
    EXPECT_EQ(look_at(place), lock_state::held);
}

TEST_F(LockFile, HasOneHolder)
{
    const lock_holder holder(place);
    EXPECT_EQ(refusal(), "the presence cannot be shown: " + presence::lock_path(place) + ": another service holds it");
    EXPECT_EQ(look_at(place), lock_state::held);
}

TEST_F(LockFile, IsMadeForItsOwnerAloneOrForEveryoneToSee)
{
    const mode_t mask = ::umask(077);
    {
        const lock_holder holder(place);
    }
    EXPECT_EQ(mode_of(place.folder), 0700U);
    EXPECT_EQ(mode_of(presence::lock_path(place)), 0600U);
    place.folder = base + "/machine";
    place.shared = true;
    {
        const lock_holder holder(place);
    }
    EXPECT_EQ(mode_of(place.folder), 0755U) << "whatever the process keeps from new files";
    EXPECT_EQ(mode_of(presence::lock_path(place)), 0644U);
    ::umask(mask);
}

TEST_F(LockFile, IsNotBelievedWhereOthersMayWrite)
{
    const lock_holder holder(place);
    ::chmod(place.folder.c_str(), 0777);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    ::chmod(place.folder.c_str(), 0770);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    ::chmod(place.folder.c_str(), 0755);
    EXPECT_EQ(look_at(place), lock_state::held);
    ::chmod(presence::lock_path(place).c_str(), 0662);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
}

TEST_F(LockFile, IsNotTakenWhereOthersMayWrite)
{
    ::mkdir(place.folder.c_str(), 0700);
    ::chmod(place.folder.c_str(), 0777);
    EXPECT_THAT(refusal(), HasSubstr(place.folder + ": belongs to somebody else, or others may write to it"));
    ::chmod(place.folder.c_str(), 0700);
    std::ofstream(presence::lock_path(place)) << "";
    ::chmod(presence::lock_path(place).c_str(), 0622);
    EXPECT_THAT(refusal(), HasSubstr("service.lock: belongs to somebody else, or others may write to it"));
}

TEST_F(LockFile, OfAnotherOwnerIsNeitherBelievedNorTaken)
{
    if (::geteuid() != 0) {
        // Files of other users cannot be created without root. A file of this user is a foreign one to another user.
        const lock_holder holder(place);
        place.owner += 1;
        EXPECT_EQ(look_at(place), lock_state::untrusted);
        EXPECT_THAT(refusal(), HasSubstr("belongs to somebody else"));
        return;
    }
    const lock_holder holder(place);
    ASSERT_EQ(::chown(presence::lock_path(place).c_str(), 4711, 4711), 0);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    ASSERT_EQ(::chown(presence::lock_path(place).c_str(), 0, 0), 0);
    EXPECT_EQ(look_at(place), lock_state::held);
    ASSERT_EQ(::chown(place.folder.c_str(), 4711, 4711), 0);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    EXPECT_THAT(refusal(), HasSubstr("belongs to somebody else"));
    place.owner = 4712;
    ASSERT_EQ(::chown(place.folder.c_str(), 4712, 4712), 0);
    EXPECT_EQ(look_at(place), lock_state::held) << "root's file is good everywhere";
}

TEST_F(LockFile, IsNotReachedThroughALink)
{
    const lock_place elsewhere{base + "/elsewhere", ::geteuid(), false};
    const lock_holder holder(elsewhere);
    std::filesystem::create_directory_symlink(elsewhere.folder, place.folder);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    EXPECT_NE(refusal(), "");
    std::filesystem::remove(place.folder);
    ::mkdir(place.folder.c_str(), 0700);
    std::filesystem::create_symlink(presence::lock_path(elsewhere), presence::lock_path(place));
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    EXPECT_NE(refusal(), "");
}

TEST_F(LockFile, IsARegularFile)
{
    ::mkdir(place.folder.c_str(), 0700);
    ASSERT_EQ(::mkfifo(presence::lock_path(place).c_str(), 0600), 0);
    EXPECT_EQ(look_at(place), lock_state::untrusted);
    EXPECT_NE(refusal(), "");
}

TEST_F(LockFile, IsNotHeldByOneWhoMayOnlyReadIt)
{
    {
        const lock_holder holder(place);
    }
    const winapi::file_handle squatter(::open(presence::lock_path(place).c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(squatter);
    struct flock wanted = {};
    wanted.l_type = F_RDLCK;
    wanted.l_whence = SEEK_SET;
    ASSERT_EQ(::fcntl(squatter.get(), F_OFD_SETLK, &wanted), 0);
    EXPECT_EQ(look_at(place), lock_state::free);
}

TEST_F(LockFile, SaysWhyItsFolderCannotBeMade)
{
    place.folder = base + "/missing/postwarden";
    EXPECT_EQ(refusal(), "the presence cannot be shown: " + place.folder + ": No such file or directory");
    EXPECT_EQ(look_at(place), lock_state::free);
}

TEST(LockPlaces, OfAnOrdinaryUserAreTheMachinesAndTheirOwn)
{
    const test::ordinary_user user;
    const variable chosen("POSTWARDEN_RUNTIME_DIR", nullptr);
    const variable runtime("XDG_RUNTIME_DIR", "/run/user/of-the-test");
    const auto places = presence::lock_places();
    ASSERT_EQ(places.size(), 2U);
    EXPECT_EQ(places[0].folder, "/run/postwarden");
    EXPECT_EQ(places[0].owner, 0U);
    EXPECT_TRUE(places[0].shared);
    EXPECT_EQ(places[1].folder, "/run/user/of-the-test/postwarden");
    EXPECT_EQ(places[1].owner, ::geteuid());
    EXPECT_FALSE(places[1].shared);
    EXPECT_EQ(presence::own_lock_place().folder, places[1].folder);
}

TEST(LockPlaces, OfAnOrdinaryUserAreBelowTheUsualFolderIfTheEnvironmentNamesNone)
{
    const test::ordinary_user user;
    const variable chosen("POSTWARDEN_RUNTIME_DIR", nullptr);
    const variable runtime("XDG_RUNTIME_DIR", nullptr);
    EXPECT_EQ(presence::own_lock_place().folder, "/run/user/" + std::to_string(::geteuid()) + "/postwarden");
}

TEST(LockPlaces, IncludeAPlaceOfTheirOwnForAllUsersButRoot)
{
    const variable chosen("POSTWARDEN_RUNTIME_DIR", nullptr);
    const variable runtime("XDG_RUNTIME_DIR", "/run/user/of-the-test");
    const auto places = presence::lock_places();
    ASSERT_EQ(places.size(), ::geteuid() == 0 ? 1U : 2U);
    EXPECT_EQ(places[0].folder, "/run/postwarden");
    EXPECT_EQ(presence::own_lock_place().folder, places.back().folder);
}

TEST(LockPlaces, BelongToRootAndAreNotSharedUnlessSpecified)
{
    const lock_place place{"/somewhere"};
    EXPECT_EQ(place.owner, 0U);
    EXPECT_FALSE(place.shared);
}

TEST(LockPlaces, AreOneThatTheEnvironmentNames)
{
    const variable chosen("POSTWARDEN_RUNTIME_DIR", "/somewhere");
    const auto places = presence::lock_places();
    ASSERT_EQ(places.size(), 1U);
    EXPECT_EQ(places[0].folder, "/somewhere");
    EXPECT_EQ(places[0].owner, ::geteuid());
    EXPECT_FALSE(places[0].shared);
}

TEST(LockPlaces, TakeNoRelativeName)
{
    const variable chosen("POSTWARDEN_RUNTIME_DIR", "somewhere");
    EXPECT_EQ(presence::lock_places()[0].folder, "/run/postwarden");
}

TEST(HoldPresence, IsSeenWhileItLasts)
{
    std::string pattern = (std::filesystem::temp_directory_path() / "hold-XXXXXX").string();
    const std::string base = ::mkdtemp(pattern.data());
    const variable chosen("POSTWARDEN_RUNTIME_DIR", (base + "/own").c_str());
    {
        const auto held = presence::hold_presence();
        EXPECT_EQ(look_at(presence::own_lock_place()), lock_state::held);
    }
    EXPECT_EQ(look_at(presence::own_lock_place()), lock_state::free);
    std::filesystem::remove_all(base);
}

} // namespace
