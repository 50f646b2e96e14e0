#include "service/engine/builtin_engine.h"
#include "service/engine/clamd_engine.h"
#include "tests/service/engine/clamd_daemon.h"
#include "tests/support/child_process.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
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

std::filesystem::path make_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "postwarden-clamd-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder for clamd");
    }
    return name;
}

} // namespace

clamd_daemon::clamd_daemon(const std::string& stream_limit)
{
    if (!std::filesystem::exists(clamd_program)) {
        throw std::runtime_error(std::string(clamd_program) + " is missing: install the package clamav-daemon");
    }
    folder_ = make_folder();
    write_configuration(stream_limit);
    program_ = std::make_unique<child_process>(
        clamd_program, std::vector<std::string>{"--config-file=" + (folder_ / "clamd.conf").string()});
    wait_until_it_answers();
}

clamd_daemon::~clamd_daemon()
{
    program_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void clamd_daemon::write_configuration(const std::string& stream_limit)
{
    const auto database = folder_ / "database";
    std::filesystem::create_directory(database);
    // The signatures are generated here, so that no file of the tree contains the text whole. clamd scans HTML in a
    // lower-case form only.
    const std::string text = service::antivirus_test_text();
    std::string small = text;
    std::transform(small.begin(), small.end(), small.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::ofstream(database / "test.ndb") << "Test.File-1:0:*:" << hexadecimal_bytes(text) << '\n'
                                         << "Test.File-1:3:*:" << hexadecimal_bytes(small) << '\n';
    std::ofstream file(folder_ / "clamd.conf");
    file << "Foreground yes\nLocalSocket " << socket() << "\nDatabaseDirectory " << database.string()
         << "\nTemporaryDirectory " << folder_.string() << "\nStreamMaxLength " << stream_limit << "\nMaxThreads 4"
         << "\nConcurrentDatabaseReload no\n";
    if (::geteuid() == 0) {
        file << "User root\n";
    }
}

void clamd_daemon::wait_until_it_answers()
{
    service::clamd_engine asking(service::clamd_unix_endpoint(socket()), 10s);
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!asking.identity({}).starts_with("ClamAV ")) {
        if (program_->has_ended() || std::chrono::steady_clock::now() > deadline) {
            const std::string why = "clamd does not answer: " + program_->output() + program_->errors();
            program_.reset();
            std::error_code ignored;
            std::filesystem::remove_all(folder_, ignored);
            throw std::runtime_error(why);
        }
        std::this_thread::sleep_for(20ms);
    }
}

void clamd_daemon::end()
{
    program_->kill(SIGTERM);
    if (!program_->wait()) {
        throw std::runtime_error("clamd does not end");
    }
}

} // namespace test
