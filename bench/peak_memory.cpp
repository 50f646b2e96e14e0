// Measures how much more memory the program needs at its peak for a mail scan of a large attachment than for a small
// one. Each scan runs in a separate process; the peer, which stores nothing, is in the first process.
//
//   bench_memory [LARGE_BYTES]        1 GiB by default, 64 MiB with --once; fails when more than 24 MiB are added

#include "bench/once.h"
#include "bench/sink_peer.h"
#include "tool/icap_client/session_manager.h"
#include "tool/web/io_data.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr std::uint64_t kib = 1024;
constexpr std::uint64_t mib = kib * kib;
constexpr std::uint64_t allowed_growth = 24 * mib;

/// An attachment without storage: its bytes are computed when they are read.
class made_up_data final : public web::io_data
{
public:
    explicit made_up_data(std::uint64_t bytes)
        : size_(bytes)
    {}
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        const std::uint64_t taken = offset < size_ ? std::min(count, size_ - offset) : 0;
        std::memset(destination, 'a' + static_cast<int>(offset / 4096 % 26), taken);
        return taken;
    }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { throw std::logic_error("read only"); }
    std::uint64_t append(const void*, std::uint64_t) override { throw std::logic_error("read only"); }
    void swap(web::io_data&) override { throw std::logic_error("read only"); }
    void size(std::uint64_t) override { throw std::logic_error("read only"); }
    std::uint64_t size() override { return size_; }

private:
    std::uint64_t size_;
};

std::uint64_t peak_memory()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            std::uint64_t kibibytes = 0;
            status >> kibibytes;
            return kibibytes * kib;
        }
    }
    throw std::runtime_error("/proc/self/status tells no peak");
}

/// Runs one scan and prints the peak.
int scan(std::uint16_t port, std::uint64_t size)
{
    const auto pool = std::make_shared<icap::client::session_manager>(
        icap::client::session_manager_parameters{L"127.0.0.1", port, L"/bench"}, 1U);
    icap::client::scan_mail record;
    record.attach_name = "large.bin";
    record.type = icap::client::content_type::attachment;
    record.data = std::make_shared<made_up_data>(size);
    record.timeout = 60000;
    {
        icap::client::session_lease lease(pool);
        icap::client::session::answer_ptr answer;
        if (lease->scan(record, answer) != ScanResult::Clean || lease->is_invalid()) {
            std::cerr << "the scan failed\n";
            return 1;
        }
    }
    std::cout << peak_memory() << std::flush;
    return 0;
}

/// Runs this program again for one scan and reads its output.
std::uint64_t peak_of(const char* self, std::uint16_t port, std::uint64_t size)
{
    int out[2];
    if (pipe(out) != 0) {
        throw std::runtime_error("no pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::string port_text = std::to_string(port);
    std::string size_text = std::to_string(size);
    std::string name = self;
    std::string word = "--scan";
    char* arguments[] = {name.data(), word.data(), port_text.data(), size_text.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, "/proc/self/exe", &actions, nullptr, arguments, environ) != 0) {
        throw std::runtime_error("could not start the scan");
    }
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    char text[32] = {};
    const auto count = read(out[0], text, sizeof text - 1);
    close(out[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (count <= 0 || status != 0) {
        throw std::runtime_error("the scan failed");
    }
    return std::stoull(text);
}

} // namespace

int main(int count, char** arguments)
{
    try {
        if (count == 4 && std::strcmp(arguments[1], "--scan") == 0) {
            return scan(static_cast<std::uint16_t>(std::stoul(arguments[2])), std::stoull(arguments[3]));
        }
        bench::take_once(count, arguments);
        const std::uint64_t large = count > 1 ? std::stoull(arguments[1]) : bench::usual_or_once(kib * mib, 64 * mib);
        const bench::sink_peer peer(bench::sink_peer::kind::icap);
        const std::uint64_t low = peak_of(arguments[0], peer.port(), kib);
        const std::uint64_t high = peak_of(arguments[0], peer.port(), large);
        // A scan that fails counts as clean, so that only the peer knows what was scanned.
        if (peer.scans() != 2 || peer.scanned_bytes() != kib + large) {
            throw std::runtime_error("something else was scanned");
        }
        const std::uint64_t growth = high > low ? high - low : 0;
        std::printf("peak for 1 KiB: %.1f MiB, for %.0f MiB: %.1f MiB, growth %.1f MiB (allowed: %.0f MiB)\n",
                    static_cast<double>(low) / mib, static_cast<double>(large) / mib, static_cast<double>(high) / mib,
                    static_cast<double>(growth) / mib, static_cast<double>(allowed_growth) / mib);
        return growth <= allowed_growth ? 0 : 1;
    } catch (const std::exception& problem) {
        std::cerr << "bench_memory: " << problem.what() << '\n';
        return 1;
    }
}
