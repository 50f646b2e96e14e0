#include "tests/service/engine/daemon_process.h"
#include "tests/support/child_process.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace test {

using namespace std::chrono_literals;

void require_file(const std::string& file, const std::string& package)
{
    if (!std::filesystem::exists(file)) {
        throw std::runtime_error(file + " is missing: install the package " + package);
    }
}

daemon_process::daemon_process(std::string name)
    : name_(std::move(name))
{
    std::string folder = (std::filesystem::temp_directory_path() / ("postwarden-" + name_ + "-XXXXXX")).string();
    if (::mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder for " + name_);
    }
    folder_ = folder;
}

daemon_process::~daemon_process()
{
    program_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string daemon_process::start(const std::string& program, const std::vector<std::string>& arguments,
                                  const std::function<bool()>& answers)
{
    program_ = std::make_unique<child_process>(program, arguments);
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!answers()) {
        if (program_->has_ended() || std::chrono::steady_clock::now() > deadline) {
            return name_ + " does not answer: " + program_->output() + program_->errors();
        }
        std::this_thread::sleep_for(20ms);
    }
    return {};
}

void daemon_process::end()
{
    if (!program_ || program_->has_ended()) {
        return;
    }
    program_->kill(SIGTERM);
    if (!program_->wait()) {
        throw std::runtime_error(name_ + " does not end");
    }
}

} // namespace test
