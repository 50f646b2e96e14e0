#include "service/engine/icap_engine.h"
#include "tests/service/engine/c_icap_daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback_socket.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace test {

namespace {

using namespace std::chrono_literals;

constexpr const char* c_icap_program = "/usr/bin/c-icap";
// Where Debian's packages have the modules.
constexpr const char* c_icap_modules = "/usr/lib/x86_64-linux-gnu/c_icap";

void require_file(const std::string& file, const char* package)
{
    if (!std::filesystem::exists(file)) {
        throw std::runtime_error(file + " is missing: install the package " + package);
    }
}

std::filesystem::path make_c_icap_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "postwarden-c-icap-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder for c-icap");
    }
    return name;
}

std::uint16_t free_port()
{
    return loopback_socket::listen().port();
}

} // namespace

c_icap_daemon::c_icap_daemon(const std::string& clamd_socket)
{
    require_file(c_icap_program, "c-icap");
    require_file(std::string(c_icap_modules) + "/virus_scan.so", "libc-icap-mod-virus-scan");
    folder_ = make_c_icap_folder();
    try {
        start(clamd_socket);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        throw;
    }
}

c_icap_daemon::~c_icap_daemon()
{
    try {
        end();
    } catch (const std::exception&) { // the process is killed then
    }
    program_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void c_icap_daemon::start(const std::string& clamd_socket)
{
    // Another program may take a port between its choice and its use.
    for (int attempt = 0;; ++attempt) {
        port_ = free_port();
        write_configuration(clamd_socket);
        program_ = std::make_unique<child_process>(
            c_icap_program, std::vector<std::string>{"-N", "-f", (folder_ / "c-icap.conf").string()});
        if (wait_until_it_answers()) {
            return;
        }
        const std::string why = "c-icap does not answer: " + program_->output() + program_->errors();
        end();
        if (attempt == 2) {
            throw std::runtime_error(why);
        }
    }
}

void c_icap_daemon::write_configuration(const std::string& clamd_socket)
{
    const std::string folder = folder_.string();
    std::ofstream file(folder_ / "c-icap.conf");
    file << "Port 127.0.0.1:" << port_ << "\nPidFile " << folder << "/pid\nCommandsSocket " << folder
         << "/control\nTmpDir " << folder << "\nServerLog " << folder << "/server.log\nAccessLog " << folder
         << "/access.log\nTimeout 30\nKeepAliveTimeout 30\nMaxKeepAliveRequests -1\nStartServers 1\nMaxServers 1\n"
         << "MinSpareThreads 1\nMaxSpareThreads 8\nThreadsPerChild 8\nServerAdmin admin@example.org\n"
         << "ServerName c-icap.example.org\nDebugLevel 1\nModulesDir " << c_icap_modules << "\nServicesDir "
         << c_icap_modules << "\nTemplateDir /usr/share/c_icap/templates/\nTemplateDefaultLanguage en\n"
         << "LoadMagicFile /etc/c-icap/c-icap.magic\nService echo srv_echo.so\n";
    if (!clamd_socket.empty()) {
        file << "Module common clamd_mod.so\nclamd_mod.ClamdSocket " << clamd_socket
             << "\nService antivirus_module virus_scan.so\n"
             << "ServiceAlias avscan virus_scan?allow204=on&sizelimit=off&mode=simple\n"
             << "virus_scan.ScanFileTypes TEXT DATA EXECUTABLE ARCHIVE GIF JPEG MSOFFICE\n"
             << "virus_scan.SendPercentData 5\nvirus_scan.StartSendPercentDataAfter 2M\n"
             << "virus_scan.MaxObjectSize 5M\nvirus_scan.DefaultEngine clamd\n";
    }
}

bool c_icap_daemon::answers() const
{
    service::icap_engine_settings settings;
    settings.timeout = 10s;
    service::icap_engine asking({"127.0.0.1", port_, "echo"}, settings);
    return asking.probe({}).fault.empty();
}

bool c_icap_daemon::wait_until_it_answers()
{
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!answers()) {
        if (program_->has_ended() || std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

void c_icap_daemon::end()
{
    if (!program_ || program_->has_ended()) {
        return;
    }
    program_->kill(SIGTERM);
    if (!program_->wait()) {
        throw std::runtime_error("c-icap does not end");
    }
}

} // namespace test
