#include "service/engine/builtin_engine.h"
#include "tests/support/every_split.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <variant>

namespace {

using namespace service;

std::unique_ptr<web::io_data> stored(std::string_view text)
{
    auto store = web::make_body_store(text.size());
    EXPECT_EQ(store->append(text.data(), text.size()), text.size());
    return store;
}

std::string content_of(web::io_data& store)
{
    std::string text(static_cast<std::size_t>(store.size()), '\0');
    EXPECT_EQ(store.read(0, text.data(), text.size()), text.size());
    return text;
}

verdict judged(std::string_view text)
{
    builtin_engine engine;
    const auto store = stored(text);
    return scan(engine, {"name", text.size()}, *store, service::stop_token());
}

void expect_repaired(const std::string& text, const std::string& expected)
{
    const verdict outcome = judged(text);
    const auto* const repaired = std::get_if<repaired_verdict>(&outcome);
    ASSERT_NE(repaired, nullptr);
    EXPECT_EQ(repaired->threat, "Repairable-Test-Pattern");
    EXPECT_EQ(content_of(*repaired->body), expected);
}

TEST(builtin_engine, knows_the_texts_of_68_and_34_bytes)
{
    EXPECT_EQ(antivirus_test_text().size(), 68U);
    EXPECT_TRUE(antivirus_test_text().starts_with("X5O!P%@AP[4\\PZX54(P^)7CC)7}$"));
    EXPECT_TRUE(antivirus_test_text().ends_with("-FILE!$H+H*"));
    EXPECT_EQ(repairable_test_text(), std::string("POSTWARDEN-") + "REPAIRABLE-TEST-PATTERN");
}

TEST(builtin_engine, blocks_the_antivirus_test_file_anywhere_in_an_object)
{
    for (const std::size_t ahead : {0, 1, 65535 - 30, 65536 - 1, 65536, 140000}) {
        const verdict outcome = judged(std::string(ahead, 'x') + antivirus_test_text() + "behind");
        const auto* const blocked = std::get_if<blocked_verdict>(&outcome);
        ASSERT_NE(blocked, nullptr) << ahead;
        EXPECT_EQ(blocked->threat, "EICAR-Test-File");
    }
}

TEST(builtin_engine, clears_what_holds_neither_text)
{
    const std::string test_file = antivirus_test_text();
    for (const std::string& text : {std::string(), std::string("x"), std::string(200000, 'X'),
                                    test_file.substr(0, test_file.size() - 1), test_file.substr(1)}) {
        EXPECT_TRUE(std::holds_alternative<clean_verdict>(judged(text))) << text.size() << " bytes";
    }
}

TEST(builtin_engine, repairs_every_occurrence)
{
    const std::string text = repairable_test_text();
    expect_repaired(text, "[removed]");
    expect_repaired("a" + text + "b", "a[removed]b");
    expect_repaired(text + text, "[removed][removed]");
    expect_repaired("1" + text + "2" + text + "3" + text, "1[removed]2[removed]3[removed]");
}

TEST(builtin_engine, repairs_across_the_borders_of_pieces)
{
    const std::string text = repairable_test_text();
    for (std::size_t shift = 0; shift <= text.size(); ++shift) {
        const std::string ahead(65536 - shift, 'a');
        expect_repaired(ahead + text + "behind", ahead + "[removed]behind");
    }
    const std::string between(131072 - 10, 'b');
    expect_repaired(text + between + text, "[removed]" + between + "[removed]");
}

TEST(builtin_engine, keeps_a_beginning_of_the_text_that_does_not_go_on)
{
    const std::string text = repairable_test_text();
    expect_repaired(text + text.substr(0, 20), "[removed]" + text.substr(0, 20));
    expect_repaired("POSTWARDEN-" + text, "POSTWARDEN-[removed]");
}

TEST(builtin_engine, repairs_an_object_that_is_kept_in_a_file)
{
    const std::string ahead(300000, 'a');
    expect_repaired(ahead + repairable_test_text() + ahead, ahead + "[removed]" + ahead);
}

TEST(builtin_engine, blocks_an_object_with_both_texts)
{
    EXPECT_TRUE(std::holds_alternative<blocked_verdict>(judged(repairable_test_text() + antivirus_test_text())));
    EXPECT_TRUE(std::holds_alternative<blocked_verdict>(
        judged(antivirus_test_text() + std::string(100000, ' ') + repairable_test_text())));
}

TEST(builtin_engine, needs_no_further_bytes_once_the_test_file_was_seen)
{
    builtin_engine engine;
    const auto work = engine.begin({}, service::stop_token());
    EXPECT_TRUE(work->data("harmless"));
    EXPECT_FALSE(work->data(antivirus_test_text()));
}

TEST(builtin_engine, finds_both_texts_in_pieces_of_any_size)
{
    builtin_engine engine;
    for (const std::string& text : {antivirus_test_text(), repairable_test_text()}) {
        const auto store = stored(text);
        test::every_split(text, [&](const test::pieces& pieces) {
            const auto work = engine.begin({}, service::stop_token());
            for (const auto piece : pieces) {
                work->data(piece);
            }
            EXPECT_FALSE(std::holds_alternative<clean_verdict>(work->finish(*store))) << pieces.front().size();
        });
    }
}

TEST(scan, stops_reading_when_the_engine_needs_no_more)
{
    class easily_satisfied final : public scan_engine, public object_scan
    {
    public:
        explicit easily_satisfied(int& pieces)
            : pieces_(pieces)
        {}
        [[nodiscard]] std::string_view name() const noexcept override { return "test"; }
        [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info&, service::stop_token) override
        {
            return std::make_unique<easily_satisfied>(pieces_);
        }
        [[nodiscard]] std::string identity(service::stop_token) override { return {}; }
        bool data(std::string_view) override { return ++pieces_ < 2; }
        [[nodiscard]] verdict finish(web::io_data&) override { return clean_verdict{}; }

    private:
        int& pieces_;
    };
    int pieces = 0;
    easily_satisfied engine(pieces);
    const auto store = stored(std::string(300000, 'x'));
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(scan(engine, {}, *store, service::stop_token())));
    EXPECT_EQ(pieces, 2);
}

TEST(scan, gives_up_when_it_is_told_to_stop)
{
    builtin_engine engine;
    service::stop_source stop;
    stop.request_stop();
    const auto store = stored("harmless");
    const verdict outcome = scan(engine, {}, *store, stop.get_token());
    ASSERT_TRUE(std::holds_alternative<error_verdict>(outcome));
    EXPECT_EQ(std::get<error_verdict>(outcome).why, "the service is stopping");
}

} // namespace
