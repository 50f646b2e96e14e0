#include "service/engine/builtin_engine.h"

#include "service/engine/stream_matcher.h"
#include "tool/web/body_store.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace service {

namespace {

constexpr std::string_view replacement = "[removed]";
constexpr std::uint64_t piece_size = 65536;

void append_all(web::io_data& store, std::string_view text)
{
    if (store.append(text.data(), text.size()) != text.size()) {
        throw std::runtime_error("the repaired object's store is full");
    }
}

/// Copies `object` with every `pattern` replaced. Holds at most one piece and less than the length of the pattern from
/// the previous piece.
std::unique_ptr<web::io_data> copy_repaired(web::io_data& object, const std::string& pattern)
{
    const std::uint64_t size = object.size();
    auto repaired = web::make_body_store(size);
    std::string held;
    std::string piece(static_cast<std::size_t>(std::min(size, piece_size)), '\0');
    for (std::uint64_t offset = 0; offset < size;) {
        const std::uint64_t count = object.read(offset, piece.data(), piece.size());
        if (count == 0) {
            throw std::runtime_error("the object's store ends before its size");
        }
        offset += count;
        held.append(piece, 0, static_cast<std::size_t>(count));
        std::size_t done = 0;
        for (std::size_t at = held.find(pattern); at != std::string::npos; at = held.find(pattern, done)) {
            append_all(*repaired, std::string_view(held).substr(done, at - done));
            append_all(*repaired, replacement);
            done = at + pattern.size();
        }
        // The rest may end with the beginning of a pattern.
        const std::size_t keep = std::min(held.size() - done, pattern.size() - 1);
        append_all(*repaired, std::string_view(held).substr(done, held.size() - done - keep));
        held.erase(0, held.size() - keep);
    }
    append_all(*repaired, held);
    return repaired;
}

class builtin_scan final : public object_scan
{
public:
    bool data(std::string_view piece) override
    {
        repairable_.feed(piece);
        return !infected_.feed(piece);
    }

    [[nodiscard]] verdict finish(web::io_data& object) override
    {
        if (infected_.found()) {
            return blocked_verdict{"EICAR-Test-File"};
        }
        if (repairable_.found()) {
            return repaired_verdict{"Repairable-Test-Pattern", copy_repaired(object, repairable_test_text())};
        }
        return clean_verdict{};
    }

private:
    static const search_text& infected()
    {
        static const search_text text(antivirus_test_text());
        return text;
    }
    static const search_text& repairable()
    {
        static const search_text text(repairable_test_text());
        return text;
    }

    stream_matcher infected_{infected()};
    stream_matcher repairable_{repairable()};
};

} // namespace

std::string antivirus_test_text()
{
    // The text is split in two: a file that contained all of it would be quarantined by scanners.
    return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}$") + "EICAR-STANDARD-ANTIVIRUS-TEST" + "-FILE!$H+H*";
}

std::string repairable_test_text()
{
    return std::string("POSTWARDEN-") + "REPAIRABLE-TEST-PATTERN";
}

std::string_view builtin_engine::name() const noexcept
{
    return "builtin";
}

std::unique_ptr<object_scan> builtin_engine::begin(const object_info& /*info*/, stop_token /*stop*/)
{
    return std::make_unique<builtin_scan>();
}

bool builtin_engine::is_quick(std::uint64_t size) const noexcept
{
    constexpr std::uint64_t most = std::uint64_t{1} << 20U; // some 100 microseconds
    return size <= most;
}

std::string builtin_engine::identity(stop_token /*stop*/)
{
    return "builtin-1";
}

} // namespace service
