#include "service/engine/icap_engine.h"
#include "tests/service/engine/c_icap_daemon.h"
#include "tests/support/loopback_socket.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace test {

namespace {

using namespace std::chrono_literals;

constexpr const char* c_icap_program = "/usr/bin/c-icap";
// Where Debian's packages have the modules.
constexpr const char* c_icap_modules = "/usr/lib/x86_64-linux-gnu/c_icap";

std::uint16_t free_port()
{
    return loopback_socket::listen().port();
}

} // namespace

c_icap_daemon::c_icap_daemon(const std::string& clamd_socket)
    : daemon_("c-icap")
{
    require_file(c_icap_program, "c-icap");
    require_file(std::string(c_icap_modules) + "/virus_scan.so", "libc-icap-mod-virus-scan");
    // Another program may take a port between its choice and its use.
    for (int attempt = 0;; ++attempt) {
        port_ = free_port();
        write_configuration(clamd_socket);
        const std::string failure = daemon_.start(
            c_icap_program, {"-N", "-f", (daemon_.folder() / "c-icap.conf").string()}, [this] { return answers(); });
        if (failure.empty()) {
            return;
        }
        end();
        if (attempt == 2) {
            throw std::runtime_error(failure);
        }
    }
}

c_icap_daemon::~c_icap_daemon()
{
    try {
        end();
    } catch (const std::exception&) { // the process is killed then
    }
}

void c_icap_daemon::write_configuration(const std::string& clamd_socket)
{
    const std::string folder = daemon_.folder().string();
    std::ofstream file(daemon_.folder() / "c-icap.conf");
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

} // namespace test
