#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace service {

/// The bytes of the response that nearly every object gets. They are the same for all responses of one second, the
/// precision of their date, and one ISTag. Thread-safe.
class no_content_reply
{
public:
    using clock = std::chrono::system_clock;
    using bytes = std::shared_ptr<const std::string>;

    /// Returns the bytes, which `make` returns if those of this second and tag are not known.
    [[nodiscard]] bytes get(const std::string& istag, const std::function<std::string()>& make,
                            clock::time_point now = clock::now());

private:
    std::mutex lock_;
    std::string istag_;
    std::chrono::seconds second_{-1};
    bytes known_;
};

} // namespace service
