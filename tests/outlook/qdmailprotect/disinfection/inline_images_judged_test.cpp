// Compares the fast image conversion with the plain one on generated texts around every limit.

#include "outlook/qdmailprotect/disinfection/inline_images.h"
#include "tests/outlook/qdmailprotect/support/image_judge.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace {

using boost::archive::iterators::dataflow_exception;

constexpr std::size_t DataLimit = 0x100000;

struct converted
{
    std::string html;
    std::vector<AttachmentResult> images;
};

/// Returns nothing if the decoder threw its error.
template <typename Conversion>
std::optional<converted> run(Conversion&& conversion, const std::string& html)
{
    converted result{html, {}};
    try {
        conversion(result.html, result.images);
    } catch (const dataflow_exception& failure) {
        EXPECT_EQ(failure.code, dataflow_exception::invalid_base64_character);
        return std::nullopt;
    }
    return result;
}

auto fields(const AttachmentResult& record)
{
    return std::tie(record.deleted, record.attachNumber, record.attachMethod, record.fileName, record.mimeTag,
                    record.noticeHtml, record.scanResult, record.contentId, record.data);
}

/// Counts the outcomes of a series of comparisons.
struct tally
{
    std::size_t raised = 0;
    std::size_t converted = 0;
    std::size_t without_marker = 0;
    std::size_t without_end = 0;
    std::size_t most_images = 0;
};

/// Compares both conversions of one text. Returns true if they agree and prints the differences otherwise.
bool agree(const std::string& html, tally& seen)
{
    const auto expected = run(test::judge_inline_images, html);
    const auto got = run(ExtractInlineImages, html);
    const std::string shown = html.size() < 2000 ? html : html.substr(0, 2000) + "...";
    if (expected.has_value() != got.has_value()) {
        ADD_FAILURE() << (got ? "should have raised: " : "should not have raised: ") << shown;
        return false;
    }
    if (!expected) {
        ++seen.raised;
        return true;
    }
    for (const AttachmentResult& image : expected->images) {
        ++(!image.fileName.empty() ? seen.converted : image.attachMethod != 0 ? seen.without_end : seen.without_marker);
    }
    seen.most_images = std::max(seen.most_images, expected->images.size());
    bool same = expected->html == got->html && expected->images.size() == got->images.size();
    for (std::size_t i = 0; same && i < got->images.size(); ++i) {
        same = fields(expected->images[i]) == fields(got->images[i]);
    }
    EXPECT_TRUE(same) << shown;
    return same;
}

/// Generates texts from relevant pieces.
class generator
{
public:
    explicit generator(unsigned seed)
        : random_(seed)
    {}

    std::string text(std::size_t pieces)
    {
        std::string result;
        for (std::size_t i = 0; i < pieces; ++i) {
            result += piece();
        }
        return result;
    }

    std::string data(std::size_t size)
    {
        static constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string result(std::min<std::size_t>(size, 997), 'A'); // repeated: 997 is no multiple of 4
        for (char& letter : result) {
            letter = alphabet[below(alphabet.size())];
        }
        while (result.size() < size) {
            result.append(result, 0, size - result.size());
        }
        return result;
    }

    std::size_t below(std::size_t limit) { return random_() % limit; }

private:
    template <std::size_t N>
    std::string one_of(const std::array<std::string_view, N>& choices)
    {
        return std::string(choices[below(N)]);
    }

    std::string prefix()
    {
        return one_of(std::array<std::string_view, 8>{
            " src=\"data:", " src=\"data:", " SRC=\"DATA:", " SRC=\"DATA:", "background: url(data:",
            "background: url(data:", " src=\"DATA:", "src=\"data:"});
    }

    std::string type()
    {
        static constexpr std::array<std::size_t, 8> sizes{0, 1, 9, 20, 49, 50, 51, 52};
        return std::string(sizes[below(sizes.size())], 'm');
    }

    std::string end() { return one_of(std::array<std::string_view, 6>{"\"", "\"", "\"", ")", ")", "'"}); }

    std::string encoded()
    {
        std::size_t size = below(24);
        if (size % 4 == 1 && below(12) != 0) {
            ++size;
        }
        std::string result = data(size);
        for (std::size_t i = below(4); i != 0 && i <= 2 && i < result.size(); --i) {
            result[result.size() - i] = '=';
        }
        if (below(60) == 0 && !result.empty()) {
            result[below(result.size())] = one_of(std::array<std::string_view, 4>{"*", " ", "\xE4", "="})[0];
        }
        return result;
    }

    std::string piece()
    {
        switch (below(12)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return "<img" + prefix() + type() + ";base64," + encoded() + end() + ">";
        case 4:
            return prefix();
        case 5:
            return prefix() + type();
        case 6:
            return ";base64,";
        case 7:
            return encoded();
        case 8:
            return end();
        case 9: // parts of a prefix or marker that may combine
            return one_of(std::array<std::string_view, 6>{" src=\"da", "ta:", " SRC=\"", "DATA:", ";base", "64,"});
        case 10: // output of a conversion
            return std::string(" src=\"cid:qdimg0001.png@51444D41494C.5A52544D3130").substr(below(50));
        default:
            return std::string(below(60), ' ');
        }
    }

    std::mt19937 random_;
};

TEST(inline_images_judged, agree_on_generated_texts)
{
    generator make(7);
    tally seen;
    for (int i = 0; i < 50000; ++i) {
        ASSERT_TRUE(agree(make.text(1 + make.below(24)), seen)) << "case " << i;
    }
    // The texts are useful only if they reach every outcome.
    EXPECT_GT(seen.converted, 10000U);
    EXPECT_GT(seen.without_marker, 5000U);
    EXPECT_GT(seen.without_end, 1000U);
    EXPECT_GT(seen.raised, 1000U);
    EXPECT_LT(seen.raised, 35000U);
    EXPECT_GT(seen.most_images, 10U);
}

TEST(inline_images_judged, agree_on_every_pair_of_pieces_and_a_third)
{
    const std::array<std::string, 14> pieces{" src=\"data:",
                                             " SRC=\"DATA:",
                                             "background: url(data:",
                                             ";base64,",
                                             "AAAA",
                                             "AB==",
                                             "\"",
                                             ")",
                                             " ",
                                             "m",
                                             " src=\"data:a/b;base64,QUJD\"",
                                             " SRC=\"DATA:a/b;base64,QUJD\"",
                                             "background: url(data:a/b;base64,QUJD)",
                                             std::string(40, 'm')};
    tally seen;
    for (const auto& first : pieces) {
        for (const auto& second : pieces) {
            for (const auto& third : pieces) {
                for (const auto& fourth : pieces) {
                    ASSERT_TRUE(agree(first + second + third + fourth, seen));
                }
            }
        }
    }
    EXPECT_GT(seen.converted, 5000U);
}

TEST(inline_images_judged, agree_on_every_length_of_the_type)
{
    tally seen;
    for (const std::string prefix : {" src=\"data:", " SRC=\"DATA:", "background: url(data:"}) {
        const std::string end = prefix.front() == ' ' ? "\"" : ")";
        for (std::size_t size = 0; size <= 70; ++size) {
            for (const std::string& before : {std::string(), std::string(" src=\"data:"), std::string("<a")}) {
                ASSERT_TRUE(agree(before + prefix + std::string(size, 'm') + ";base64,AAAA" + end + "tail", seen));
                ASSERT_TRUE(agree(before + prefix + " src=\"data:x;base64,AAAA\"" + std::string(size % 8, 'm') +
                                      ";base64,BBBB" + end,
                                  seen));
            }
        }
    }
    EXPECT_GT(seen.converted, 400U);
    EXPECT_GT(seen.without_marker, 100U);
}

TEST(inline_images_judged, agree_on_lengths_of_the_data_around_the_limit)
{
    generator make(11);
    tally seen;
    for (const std::string prefix : {" src=\"data:", " SRC=\"DATA:", "background: url(data:"}) {
        const std::string end = prefix.front() == ' ' ? "\"" : ")";
        for (std::size_t size = DataLimit - 4; size <= DataLimit + 4; ++size) {
            const std::string image = prefix + "a/b;base64," + make.data(size);
            ASSERT_TRUE(agree("<a" + image + end + ">", seen)) << size;
            ASSERT_TRUE(agree("<a" + image, seen)) << size << " without an end";
            ASSERT_TRUE(agree(image + end + " src=\"data:c/d;base64,QUJD\" SRC=\"DATA:e/f;base64,QUJD\"", seen));
        }
    }
    EXPECT_GT(seen.converted, 30U);
    EXPECT_GT(seen.without_end, 30U);
    EXPECT_GT(seen.raised, 3U);
}

TEST(inline_images_judged, agree_on_texts_of_several_large_images)
{
    generator make(13);
    tally seen;
    static constexpr std::array<std::size_t, 7> sizes{
        16, 4096, DataLimit - 4, DataLimit, DataLimit + 1, DataLimit + 4, 2 * DataLimit};
    for (int i = 0; i < 40; ++i) {
        std::string html;
        for (std::size_t count = 1 + make.below(4); count != 0; --count) {
            const std::string data = make.data(sizes[make.below(sizes.size())]);
            switch (make.below(3)) {
            case 0:
                html += "<img src=\"data:image/png;base64," + data + "\">" + make.text(2);
                break;
            case 1:
                html += "<IMG SRC=\"DATA:image/png;base64," + data + "\">" + make.text(2);
                break;
            default:
                html += "<p style='background: url(data:image/png;base64," + data + ")'>" + make.text(2);
                break;
            }
        }
        ASSERT_TRUE(agree(html, seen)) << "case " << i;
    }
    EXPECT_GT(seen.converted, 20U);
    EXPECT_GT(seen.without_end, 10U);
}

} // namespace
