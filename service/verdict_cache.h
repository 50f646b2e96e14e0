#pragma once

#include "digest/sha256.h"
#include "service/engine/scan_engine.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace service {

/// The verdicts of the engine about objects that it has judged, by the digests of the objects. Contains clean and
/// blocked verdicts only: every other one may be different at the next attempt. Each entry takes at most some 350
/// bytes. If the cache is full, the entry that was not used for the longest time is removed. Thread-safe.
///
/// A generation is a number that grows whenever verdicts may change. All entries are of one generation.
class verdict_cache
{
public:
    using key = digest::sha256::value;
    /// A verdict with a longer name of a threat is not kept.
    static constexpr std::size_t longest_threat = 128;

    struct statistics
    {
        std::size_t entries = 0;
        std::uint64_t hits = 0;
        std::uint64_t misses = 0;
    };

    /// A cache of zero entries keeps nothing.
    explicit verdict_cache(std::size_t most_entries);

    [[nodiscard]] bool enabled() const noexcept { return most_entries_ != 0; }
    /// Returns the verdict about an object. A newer generation than that of the entries removes them.
    [[nodiscard]] std::optional<verdict> find(const key& object, std::uint64_t generation);
    /// Enters a verdict of a scan that began in `generation`. Does nothing if there is a newer one.
    void enter(const key& object, std::uint64_t generation, const verdict& outcome);
    [[nodiscard]] statistics numbers() const;

private:
    struct entry
    {
        key object{};
        bool blocked = false;
        std::string threat;
    };
    /// A part of a digest is as good as any hash of it.
    struct hash_of_key
    {
        std::size_t operator()(const key& object) const noexcept;
    };
    using order = std::list<entry>;

    /// Returns false if `generation` is older than that of the entries.
    bool adopt(std::uint64_t generation);

    const std::size_t most_entries_;
    mutable std::mutex lock_;
    std::uint64_t generation_ = 0; ///< of the entries; guarded by lock_, like all of the rest
    order entries_;                ///< the one used last is the first
    std::unordered_map<key, order::iterator, hash_of_key> places_;
    std::uint64_t hits_ = 0;
    std::uint64_t misses_ = 0;
};

} // namespace service
