#pragma once

#include "service/episode.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string_view>

namespace service {

/// Counts the bytes of all objects that one server keeps, in memory and in temporary files, and limits them. An object
/// may grow only while an eighth of the budget, or at least 256 times its size, remains: however long large objects are
/// kept, and however many they are, there is room for small ones. The files are limited too, because each needs
/// descriptors. Thread-safe.
class body_budget
{
public:
    /// `quiet` is the time without a refusal after which the next one is logged again.
    explicit body_budget(std::uint64_t bytes, std::size_t files = std::numeric_limits<std::size_t>::max(),
                         episode::clock::duration quiet = std::chrono::minutes(1));
    body_budget(const body_budget&) = delete;
    body_budget& operator=(const body_budget&) = delete;

    /// The bytes of one object, which are returned to the budget with the share.
    class share
    {
    public:
        /// `budget` may be null: then there is no limit. It must outlive the share.
        explicit share(body_budget* budget)
            : budget_(budget)
        {}
        share(const share&) = delete;
        share& operator=(const share&) = delete;
        ~share();
        /// Adds bytes. Returns false, and adds nothing, if the budget does not allow it.
        [[nodiscard]] bool take(std::uint64_t count);
        /// Counts the object as one that is kept in a file. Returns false if there are too many.
        [[nodiscard]] bool take_file();

    private:
        body_budget* budget_;
        std::uint64_t bytes_ = 0;
        std::size_t files_ = 0;
    };

    /// Changes the budget. Objects that are kept already are not affected.
    void resize(std::uint64_t bytes, std::size_t files = std::numeric_limits<std::size_t>::max());
    /// Logs that a store failed, once for many failures.
    void report_failure(std::string_view why);
    /// Returns the bytes that are in use.
    [[nodiscard]] std::uint64_t used() const;

private:
    [[nodiscard]] std::uint64_t reserve_for(std::uint64_t size) const;
    bool take(std::uint64_t held, std::uint64_t count);
    bool take_file();
    void give_back(std::uint64_t count, std::size_t files);

    mutable std::mutex lock_;
    std::uint64_t bytes_;
    std::size_t files_;
    std::uint64_t used_ = 0;
    std::size_t used_files_ = 0;
    episode refusals_;
    episode failures_;
};

} // namespace service
