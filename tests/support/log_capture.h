#pragma once

#include "logging/logging.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// One captured line.
struct log_record
{
    std::uint32_t level = 0;
    std::string logger;
    std::string text;
    friend bool operator==(const log_record&, const log_record&) = default;
};

/// Keeps all lines up to a level that are written while this object exists. Thread-safe.
class log_capture
{
public:
    explicit log_capture(std::uint32_t threshold = 500);
    log_capture(const log_capture&) = delete;
    log_capture& operator=(const log_capture&) = delete;
    ~log_capture();

    /// Returns all lines, in the order in which they were finished.
    [[nodiscard]] std::vector<log_record> lines() const;
    /// Returns the texts of one logger's lines, or of all.
    [[nodiscard]] std::vector<std::string> texts(std::string_view logger_name = "") const;
    /// Returns true if a line contains `part`.
    [[nodiscard]] bool contains(std::string_view part) const;
    /// Discards the lines so far.
    void clear();

private:
    class sink;
    std::shared_ptr<sink> sink_;
};

} // namespace test
