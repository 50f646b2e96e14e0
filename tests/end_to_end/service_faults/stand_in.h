#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace test {

/// A server on a loopback port that can be gone and come back on that port. Each connection has its own thread.
class stand_in
{
public:
    /// One connection.
    class link
    {
    public:
        link(stand_in& owner, int handle);
        link(const link&) = delete;
        link& operator=(const link&) = delete;
        ~link();

        /// Reads until that many bytes are there. Returns false if the connection or the server ends before.
        bool need(std::size_t count);
        /// Takes the bytes up to and with an end mark. Returns false if the connection or the server ends before.
        bool take_until(std::string_view end, std::string& taken);
        /// Takes that many bytes.
        bool take(std::size_t count, std::string& taken);
        void send(std::string_view bytes);
        /// Lets the end of the connection be a reset.
        void reset_at_end();

    private:
        stand_in& owner_;
        int handle_;
        std::string inbox_;
        std::thread thread_;
    };

    /// Serves a connection, which ends when it returns.
    using handler = std::function<void(link& peer)>;

    explicit stand_in(handler serve_one);
    stand_in(const stand_in&) = delete;
    stand_in& operator=(const stand_in&) = delete;
    ~stand_in();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Closes the port and all connections.
    void leave();
    void come_back();

private:
    void serve();
    [[nodiscard]] bool stopped();

    handler serve_one_;
    std::uint16_t port_ = 0;
    int listener_ = -1;
    std::mutex lock_;
    bool stopped_ = false;
    std::vector<std::unique_ptr<link>> links_; ///< used by serve() only, while it runs
    std::thread thread_;
};

} // namespace test
