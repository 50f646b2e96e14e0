#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace test {

class child_process;

/// Throws std::runtime_error that names `package`, unless the file exists.
void require_file(const std::string& file, const std::string& package);

/// A daemon that others wrote, with a folder of its own below that of temporary files. POSIX only.
class daemon_process
{
public:
    /// Makes the folder. `name` is that of the daemon in errors and in the folder's name.
    explicit daemon_process(std::string name);
    daemon_process(const daemon_process&) = delete;
    daemon_process& operator=(const daemon_process&) = delete;
    /// Kills the daemon and deletes the folder.
    ~daemon_process();

    [[nodiscard]] const std::filesystem::path& folder() const noexcept { return folder_; }
    /// Starts the daemon and waits until `answers` returns true. Returns why it did not answer; an empty text if it
    /// did.
    [[nodiscard]] std::string start(const std::string& program, const std::vector<std::string>& arguments,
                                    const std::function<bool()>& answers);
    /// Asks the daemon to end, if it runs, and waits. Throws std::runtime_error if it does not end.
    void end();

private:
    std::string name_;
    std::filesystem::path folder_; ///< deleted with the object
    std::unique_ptr<child_process> program_;
};

} // namespace test
