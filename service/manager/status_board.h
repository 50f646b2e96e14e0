#pragma once

#include <windows.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace manager {

/// The status of a service as its manager knows it. While the service starts or stops, a thread reports its progress
/// once a second, so that the manager does not give it up. Thread-safe.
class status_board
{
public:
    using reporter = std::function<void(const SERVICE_STATUS& status)>;

    /// `report` passes a status to the manager. It is called by one thread at a time and must not throw.
    explicit status_board(reporter report);
    status_board(const status_board&) = delete;
    status_board& operator=(const status_board&) = delete;
    ~status_board();

    /// The service starts; it accepts no controls.
    void starting();
    /// The service serves and accepts all controls of this program.
    void running();
    /// The service ends its connections; it accepts no controls.
    void stopping();
    /// The service has ended, with the exit status of a program: 0, or a code of this service.
    void stopped(DWORD exit_status);

private:
    void change(DWORD state, DWORD exit_status = 0);
    void run();
    [[nodiscard]] bool is_pending() const noexcept
    {
        return status_.dwCurrentState == SERVICE_START_PENDING || status_.dwCurrentState == SERVICE_STOP_PENDING;
    }

    reporter report_;
    std::mutex lock_;
    std::condition_variable changed_;
    SERVICE_STATUS status_{};
    bool ended_ = false;
    std::thread thread_;
};

} // namespace manager
