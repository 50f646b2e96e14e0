#include "doctor/port_owner_posix.h"
#include "tests/doctor/findings.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/temporary_folder.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unistd.h>

namespace port_owner_posix_test {

using namespace doctor;
namespace fs = std::filesystem;

/// A process folder with one process and the tables of the system.
class process_folder : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::create_directories(folder.path() / "net");
        fs::create_directories(folder.path() / "self/fd");
        fs::create_directories(folder.path() / "17/fd");
        fs::create_symlink("/sbin/postwarden-service", folder.path() / "17/exe");
        fs::create_symlink("/dev/null", folder.path() / "17/fd/0");
        fs::create_symlink("socket:[99]", folder.path() / "17/fd/3");
    }
    /// Writes a table with one socket, of user 5, with inode 99.
    void write(const std::string& name, const std::string& local, const std::string& state) const
    {
        std::ofstream(folder.path() / "net" / name)
            << "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
            << "   0: " << local << " 00000000:0000 " << state << " 00000000:00000000 00:00000000 00000000     5"
            << "        0 99 1 0000000000000000 100 0 0 10 0\n";
    }
    port_owner owner() { return proc_port_table(folder.path()).owner_of({"127.0.0.1", 1345}); }

    host::test::temporary_folder folder;
};

TEST_F(process_folder, contains_the_owner)
{
    const std::vector<std::pair<std::string, std::string>> tables{
        {"tcp", "0100007F:0541"}, {"tcp", "00000000:0541"}, {"tcp6", "00000000000000000000000000000000:0541"}};
    for (const auto& [table, local] : tables) {
        write(table, local, "0A");
        const port_owner found = owner();
        EXPECT_EQ(found.program, "/sbin/postwarden-service") << local;
        EXPECT_EQ(found.process, "17");
        EXPECT_EQ(found.user, "user 5");
        fs::remove(folder.path() / "net" / table);
    }
}

TEST_F(process_folder, has_the_user_even_if_the_process_is_hidden)
{
    write("tcp", "0100007F:0541", "0A");
    fs::remove(folder.path() / "17/fd/3");
    const port_owner found = owner();
    EXPECT_EQ(found.program, "");
    EXPECT_EQ(found.process, "");
    EXPECT_EQ(found.user, "user 5");
}

TEST_F(process_folder, has_no_owner_of_other_sockets)
{
    EXPECT_THROW((void)owner(), std::runtime_error);
    write("tcp", "0100007F:0541", "01"); // a connection
    EXPECT_THROW((void)owner(), std::runtime_error);
    write("tcp", "0100007F:0542", "0A");
    EXPECT_THROW((void)owner(), std::runtime_error);
    write("tcp", "0200007F:0541", "0A");
    EXPECT_THROW((void)owner(), std::runtime_error);
}

TEST(proc_port_table, finds_this_process)
{
    const auto listening = test::loopback_socket::listen();
    const port_owner found = proc_port_table().owner_of({"127.0.0.1", listening.port()});
    EXPECT_EQ(found.process, std::to_string(::getpid()));
    EXPECT_EQ(found.program, fs::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(found.user, "user " + std::to_string(::geteuid()));
}

} // namespace port_owner_posix_test
