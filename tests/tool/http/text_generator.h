#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// Generates wire text from a fixed seed: the same texts on every system.
class text_generator
{
public:
    explicit text_generator(std::uint32_t seed)
        : source_(seed)
    {}

    /// Returns a number below `bound`.
    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(source_()) % bound; }
    bool chance(std::size_t one_in) { return below(one_in) == 0; }

    /// Returns a whole head of one of the five kinds, with the deviations that are tolerated.
    std::string head();
    /// Returns a chunk line or last chunk, with extensions and trailers.
    std::string chunk();
    std::string uri();
    /// Returns `text` with one to four bytes or words changed, inserted, removed, doubled or swapped.
    std::string mutated(std::string text);
    /// Returns bytes of any value.
    std::string noise(std::size_t length);
    /// Returns pieces of grammar in random order.
    std::string word_salad(std::size_t pieces);

private:
    std::string_view pick(const std::vector<std::string_view>& words) { return words[below(words.size())]; }
    std::string eol();
    std::string gap();
    std::string headers();
    std::string header_line();

    std::mt19937 source_;
};

} // namespace test
