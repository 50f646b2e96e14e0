#pragma once

#include <string>

namespace service {

/// Reports the state of the program to the service manager that started it, by the datagram protocol of systemd. Does
/// nothing if no manager waits for reports. A report that cannot be sent is lost: the manager has its own time limits.
class manager_notice
{
public:
    /// Takes the address from the environment variable NOTIFY_SOCKET.
    manager_notice();
    /// `address` is a path, or the name of an abstract socket behind "@"; empty: no manager waits.
    explicit manager_notice(std::string address);

    /// Requests are answered from now on, at the start or after a change of the configuration. `status` is shown beside
    /// the state; empty leaves the text that is shown.
    void ready(const std::string& status = {}) const;
    /// The configuration is being read again; ready() follows.
    void reloading() const;
    /// The program ends.
    void stopping() const;

private:
    void send(const std::string& lines) const;

    std::string address_;
};

} // namespace service
