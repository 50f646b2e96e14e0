#include "outlook/qdmailprotect/link/lock_file_probe_posix.h"
#include "service/presence/lock_holder_posix.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using presence::lock_holder;
using presence::lock_place;

class LockFileProbeTest : public ::testing::Test
{
protected:
    LockFileProbeTest()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "presence-XXXXXX").string();
        base = ::mkdtemp(pattern.data());
        own = {base + "/own", ::geteuid(), false};
        machine = {base + "/machine", ::geteuid(), true};
    }
    ~LockFileProbeTest() override { std::filesystem::remove_all(base); }

    std::string base;
    lock_place own;
    lock_place machine;
    test::log_capture log;
};

TEST_F(LockFileProbeTest, SaysNoWithoutALineWhereNobodyHolds)
{
    EXPECT_FALSE(LockFileProbe({machine, own}).IsServicePresent());
    {
        const lock_holder ended(own);
    }
    EXPECT_FALSE(LockFileProbe({machine, own}).IsServicePresent());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LockFileProbeTest, FindsAHolderInAnyPlace)
{
    for (const auto& place : {machine, own}) {
        const lock_holder holder(place);
        EXPECT_TRUE(LockFileProbe({machine, own}).IsServicePresent());
        EXPECT_TRUE(LockFileProbe({machine, own}).IsServicePresent()) << "looking takes nothing";
    }
    EXPECT_FALSE(LockFileProbe({machine, own}).IsServicePresent());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LockFileProbeTest, DoesNotBelieveAFileThatOthersMayWrite)
{
    const lock_holder holder(own);
    ::chmod(presence::lock_path(own).c_str(), 0666);
    EXPECT_FALSE(LockFileProbe({own}).IsServicePresent());
    EXPECT_EQ(log.lines(),
              (std::vector<test::log_record>{
                  {200, "outlook", "The service's lock file is not to be trusted: " + presence::lock_path(own)}}));
}

} // namespace
