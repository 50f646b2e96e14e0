#include "mail/mime/reading/word_cost.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace host {

namespace {

constexpr std::size_t block_size = 65536;
constexpr std::uint64_t most_steps = 1U << 26U; ///< characters that a decoder may compare in vain

/// Adds up the distances between the beginnings of words, "=?", and the ends of words or fields behind them.
class search_cost
{
public:
    /// `block` is followed by `next`, the first character of the next block, or '\0' at the end of the source.
    void add(std::string_view block, char next)
    {
        std::size_t seen = 0;
        for (std::size_t mark = block.find('?'); mark != std::string_view::npos; mark = block.find('?', mark + 1)) {
            end_fields(block, seen, mark, next);
            seen = mark;
            const char before = mark == 0 ? last_ : block[mark - 1];
            const char after = mark + 1 < block.size() ? block[mark + 1] : next;
            if (after == '=') {
                end_words(offset_ + mark);
            }
            if (before == '=') {
                ++open_;
                starts_ += offset_ + mark;
            }
        }
        end_fields(block, seen, block.size(), next);
        last_ = block.back();
        offset_ += block.size();
    }
    [[nodiscard]] bool is_high() const noexcept { return steps_ > most_steps; }
    void finish() { end_words(offset_); }

private:
    /// Ends the words of a field whose last line ends in a part of the block.
    void end_fields(std::string_view block, std::size_t begin, std::size_t end, char next)
    {
        if (open_ == 0) {
            return;
        }
        for (std::size_t line = block.find('\n', begin); line < end; line = block.find('\n', line + 1)) {
            const char after = line + 1 < block.size() ? block[line + 1] : next;
            if (after != ' ' && after != '\t') {
                end_words(offset_ + line);
                return;
            }
        }
    }
    void end_words(std::uint64_t place)
    {
        steps_ += open_ * place - starts_;
        open_ = 0;
        starts_ = 0;
    }

    std::uint64_t offset_ = 0; ///< of the block
    std::uint64_t open_ = 0;   ///< words that were begun
    std::uint64_t starts_ = 0; ///< the sum of their places
    std::uint64_t steps_ = 0;
    char last_ = '\0';
};

} // namespace

bool has_costly_words(const bytes& source)
{
    search_cost cost;
    std::string block(block_size, '\0');
    std::string following(block_size, '\0');
    std::uint64_t offset = 0;
    const auto fill = [&](std::string& target) {
        target.resize(block_size);
        target.resize(source.read(offset, target.data(), target.size()));
        offset += target.size();
    };
    for (fill(block); !block.empty() && !cost.is_high(); block.swap(following)) {
        fill(following);
        cost.add(block, following.empty() ? '\0' : following.front());
    }
    cost.finish();
    return cost.is_high();
}

bool has_costly_words(std::string_view value)
{
    if (value.empty()) {
        return false;
    }
    search_cost cost;
    cost.add(value, '\0');
    cost.finish();
    return cost.is_high();
}

} // namespace host
