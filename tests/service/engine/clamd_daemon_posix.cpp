#include "service/engine/builtin_engine.h"
#include "service/engine/clamd_engine.h"
#include "tests/service/engine/clamd_daemon.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace test {

namespace {

using namespace std::chrono_literals;

constexpr const char* clamd_program = "/usr/sbin/clamd";

std::string hexadecimal_bytes(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4U];
        text += digits[value & 0xFU];
    }
    return text;
}

} // namespace

clamd_daemon::clamd_daemon(const std::string& stream_limit)
    : daemon_("clamd")
{
    require_file(clamd_program, "clamav-daemon");
    write_configuration(stream_limit);
    service::clamd_engine asking(service::clamd_unix_endpoint(socket()), 10s);
    const std::string failure =
        daemon_.start(clamd_program, {"--config-file=" + (daemon_.folder() / "clamd.conf").string()},
                      [&asking] { return asking.identity({}).starts_with("ClamAV "); });
    if (!failure.empty()) {
        throw std::runtime_error(failure);
    }
}

void clamd_daemon::write_configuration(const std::string& stream_limit)
{
    const auto database = daemon_.folder() / "database";
    std::filesystem::create_directory(database);
    // The signatures are generated here, so that no file of the tree contains the text whole. clamd scans HTML in a
    // lower-case form only.
    const std::string text = service::antivirus_test_text();
    std::string small = text;
    std::transform(small.begin(), small.end(), small.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::ofstream(database / "test.ndb") << "Test.File-1:0:*:" << hexadecimal_bytes(text) << '\n'
                                         << "Test.File-1:3:*:" << hexadecimal_bytes(small) << '\n';
    std::ofstream file(daemon_.folder() / "clamd.conf");
    file << "Foreground yes\nLocalSocket " << socket() << "\nDatabaseDirectory " << database.string()
         << "\nTemporaryDirectory " << daemon_.folder().string() << "\nStreamMaxLength " << stream_limit
         << "\nMaxThreads 4"
         << "\nConcurrentDatabaseReload no\n";
    if (::geteuid() == 0) {
        file << "User root\n";
    }
}

} // namespace test
