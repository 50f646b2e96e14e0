// The parts of documents by their offsets, and edits that keep the bytes of all others. This code needs no library and
// is the same on every system.

#include "mail/mime/tree/draft.h"
#include "mail/mime/tree/part_tree.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace host::test {
namespace {

std::string with_ends(std::string_view text, std::string_view end)
{
    std::string result;
    for (const char c : text) {
        result += c == '\n' ? std::string(end) : std::string(1, c);
    }
    return result;
}

constexpr std::string_view mixed_mail = "Subject: s\n"
                                        "Content-Type: (a comment) Multipart/Mixed;\n"
                                        "\tBoundary = \"b \\\"1\"; charset=x\n"
                                        "\n"
                                        "preamble\n"
                                        "--b \"1\n"
                                        "Content-Type: multipart/alternative; boundary=i\n"
                                        "\n"
                                        "--i\n"
                                        "\n"
                                        "text\n"
                                        "--i\n"
                                        "Content-Type: text/html\n"
                                        "\n"
                                        "<p>\n"
                                        "\n"
                                        "--i--\n"
                                        "--b \"1  \n"
                                        "Content-Type: text/x; name=a\n"
                                        "Content-Transfer-Encoding: base64\n"
                                        "X-Other: 1\n"
                                        "\n"
                                        "YQ==\n"
                                        "--b \"1\n"
                                        "Content-Type: message/rfc822\n"
                                        "\n"
                                        "Subject: i\n"
                                        "\n"
                                        "--i\n"
                                        "--b \"1--\n"
                                        "epilogue\n"
                                        "--b \"1\n";

std::string text_of(const bytes& source, const part_place& part)
{
    return text_of_range(source, part.body, part.end);
}

/// The edits of one document.
struct edited
{
    explicit edited(std::string text)
        : source(bytes_of(std::move(text)))
        , whole(find_parts(*source))
        , copy(source, whole)
    {}
    std::string finish() { return to_string(*copy.finish()); }

    bytes_ptr source;
    part_place whole;
    draft copy;
};

TEST(document_parts, are_found_by_their_delimiters)
{
    for (const std::string_view end : {"\n", "\r\n"}) {
        const bytes_ptr source = bytes_of(with_ends(mixed_mail, end));
        const part_place whole = find_parts(*source);
        EXPECT_EQ(whole.type, "multipart/mixed");
        EXPECT_EQ(whole.boundary, "b \"1");
        ASSERT_EQ(whole.parts.size(), 3U);
        EXPECT_TRUE(whole.is_closed);
        EXPECT_EQ(whole.end, source->size());
        ASSERT_EQ(whole.parts[0].parts.size(), 2U);
        EXPECT_EQ(text_of(*source, whole.parts[0].parts[0]), "text");
        EXPECT_EQ(whole.parts[0].parts[0].type, "text/plain");
        EXPECT_EQ(text_of(*source, whole.parts[0].parts[1]), with_ends("<p>\n", end));
        EXPECT_EQ(text_of(*source, whole.parts[1]), "YQ==");
        EXPECT_EQ(text_of(*source, whole.parts[2]), with_ends("Subject: i\n\n--i", end));
        EXPECT_EQ(part_at(whole, {0, 1}), &whole.parts[0].parts[1]);
        EXPECT_EQ(part_at(whole, {}), &whole);
        EXPECT_EQ(part_at(whole, {3}), nullptr);
        EXPECT_EQ(part_at(whole, {1, 0}), nullptr);
        EXPECT_EQ(line_end_of(*source), end);
    }
}

TEST(document_parts, of_broken_documents_end_where_the_others_go_on)
{
    const auto parts_of = [](const std::string& text) {
        const bytes_ptr source = bytes_of(text);
        std::string found;
        for (const part_place& part : find_parts(*source).parts) {
            found += "[" + text_of(*source, part) + "]";
        }
        return found;
    };
    const std::string head = "Content-Type: multipart/mixed; boundary=o\n\n";
    EXPECT_EQ(parts_of(head + "--o\n\na\n--o\n\nb"), "[a][b]") << "the last delimiter is missing";
    EXPECT_EQ(parts_of(head + "--o\n\na\n--o"), "[a][]");
    EXPECT_EQ(parts_of(head + "--o\nX: 1\n--o\n\n--o--"), "[][]") << "parts without contents";
    EXPECT_EQ(parts_of(head + "--o\nContent-Type: multipart/x; boundary=i\n\n--i\n\na\n--o\n\nb\n--i\n--o--"),
              "[--i\n\na][b\n--i]")
        << "the inner one has no last delimiter";
    EXPECT_EQ(parts_of(head + "--ox\n\na\n -- o\n--o--\n--o\n"), "");
    EXPECT_EQ(parts_of("Content-Type: multipart/mixed\n\n--o\n\na\n"), "") << "no boundary";
    EXPECT_EQ(parts_of("content-type: MULTIPART/digest; x=\"boundary=z\"; boundary=o\n\n--o\n\nSubject: 1\n\n1\n--o--"),
              "[Subject: 1\n\n1]");
    EXPECT_EQ(parts_of(""), "");
    EXPECT_EQ(parts_of("\n"), "");
    EXPECT_EQ(parts_of("Content-Type"), "");
}

TEST(document_parts, nest_only_so_deep)
{
    std::string text;
    for (std::size_t i = 0; i < 5000; ++i) {
        text += "Content-Type: multipart/mixed; boundary=b" + std::to_string(i) + "\n\n--b" + std::to_string(i) + "\n";
    }
    const part_place whole = find_parts(*bytes_of(text));
    std::size_t depth = 0;
    for (const part_place* part = &whole; !part->parts.empty(); part = &part->parts.front()) {
        ++depth;
    }
    EXPECT_EQ(depth, deepest_parts);
}

TEST(document_parts, have_lines_of_any_length_and_any_bytes)
{
    const std::string line(300000, 'x');
    const std::string body = line + "\r\n\0--o\n\r\r" + line;
    const std::string text =
        "X-Long: " + line + "\r\nContent-Type: multipart/mixed; boundary=o\r\n\r\n--o\r\n\r\n" + body + "\r\n--o--\r\n";
    const bytes_ptr source = bytes_of(text);
    const part_place whole = find_parts(*source);
    ASSERT_EQ(whole.parts.size(), 1U);
    EXPECT_EQ(text_of(*source, whole.parts[0]), body);
}

TEST(document_draft, without_edits_is_the_document)
{
    for (const std::string_view end : {"\n", "\r\n"}) {
        const std::string text = with_ends(mixed_mail, end);
        EXPECT_EQ(edited(text).finish(), text);
        for (std::size_t size = 0; size < text.size(); ++size) { // wherever it ends
            EXPECT_EQ(edited(text.substr(0, size)).finish().substr(0, size), text.substr(0, size));
        }
    }
}

TEST(document_draft, removes_a_part_with_its_delimiter_and_nothing_else)
{
    const std::string text(mixed_mail);
    const std::size_t begin = text.find("--b \"1  \n");
    const std::size_t end = text.find("--b \"1\nContent-Type: message");
    edited removal(text);
    removal.copy.remove(*removal.copy.find({1}));
    EXPECT_EQ(removal.copy.find({1}), nullptr);
    EXPECT_EQ(removal.finish(), text.substr(0, begin) + text.substr(end));
    edited inner(text);
    inner.copy.remove(*inner.copy.find({0, 0}));
    EXPECT_EQ(inner.finish(), std::string(text).erase(text.find("--i\n\ntext"), 10));
}

TEST(document_draft, never_leaves_a_multipart_without_a_part)
{
    edited removal(std::string("Content-Type: multipart/mixed; boundary=o\n\n--o\n\na\n--o--\n"));
    removal.copy.remove(*removal.copy.find({0}));
    EXPECT_EQ(removal.finish(), "Content-Type: multipart/mixed; boundary=o\n\n--o\nContent-Type: text/plain; "
                                "charset=utf-8\nContent-Transfer-Encoding: base64\n\n\n--o--\n");
    edited refilled(std::string("Content-Type: multipart/mixed; boundary=o\n\n--o\n\na\n--o--\n"));
    refilled.copy.remove(*refilled.copy.find({0}));
    refilled.copy.put_last(make_leaf("X: 1\n", *bytes_of("b"), false, "\n"));
    EXPECT_EQ(refilled.finish(), "Content-Type: multipart/mixed; boundary=o\n\n--o\nX: 1\n"
                                 "Content-Transfer-Encoding: base64\n\nYg==\n\n--o--\n");
}

TEST(document_draft, keeps_the_headers_of_a_part_with_other_contents)
{
    edited change{std::string(mixed_mail)};
    draft_part& part = *change.copy.find({1});
    part.headers = "Content-Transfer-Encoding: 7bit\n";
    part.content = bytes_of("other");
    const std::string text = change.finish();
    EXPECT_NE(text.find("--b \"1  \nContent-Type: text/x; name=a\nX-Other: 1\nContent-Transfer-Encoding: 7bit\n\n"
                        "other\n--b \"1\n"),
              std::string::npos)
        << text;
}

TEST(document_draft, wraps_a_document_of_one_part)
{
    edited wrapped(std::string("Received: x\nContent-Type: text/x\nSubject: s\nContent-ID: <a>\n\nbody\n"));
    wrapped.copy.put_last(make_leaf("Content-Type: text/y\n", *bytes_of("b"), false, "\n"));
    EXPECT_EQ(wrapped.finish(), "Received: x\nMIME-Version: 1.0\nContent-Type: multipart/mixed; "
                                "boundary=\"=_edited_1_\"\nSubject: s\n\n--=_edited_1_\nContent-Type: text/x\n"
                                "Content-ID: <a>\n\nbody\n\n--=_edited_1_\nContent-Type: text/y\n"
                                "Content-Transfer-Encoding: base64\n\nYg==\n\n--=_edited_1_--\n");
}

TEST(document_draft, takes_no_boundary_that_the_document_contains)
{
    edited wrapped(std::string("Subject: s\n\n--=_edited_1_\n" + std::string(65530, 'x') + "\n--=_edited_2_--\n"));
    draft_part& root = wrapped.copy.wrap(wrapped.copy.root(), "mixed");
    EXPECT_EQ(root.boundary, "=_edited_3_");
    EXPECT_EQ(wrapped.copy.wrap(root, "mixed").boundary, "=_edited_4_");
}

TEST(document_draft, finds_a_boundary_in_one_pass_whatever_the_document_contains)
{
    std::string text = "Subject: s\n\n--=_edited_99999999999999999999_\n--=_edited_0_--=_edited_\n";
    for (int i = 200'000; i > 0; --i) {
        text += "--=_edited_" + std::to_string(i) + "_\n";
    }
    edited wrapped(text);
    EXPECT_EQ(wrapped.copy.wrap(wrapped.copy.root(), "mixed").boundary, "=_edited_200001_");
}

TEST(document_draft, replaces_all_headers_of_a_name_in_the_place_of_the_first)
{
    edited change(std::string("A: 1\nsubject: x\n\ty\nB: 2\nSUBJECT : z\nC: 3\n\nbody"));
    change.copy.set_header("Subject", "Subject: new\n");
    change.copy.set_header("D", "D: 4\n");
    EXPECT_EQ(change.finish(), "D: 4\nA: 1\nSubject: new\nB: 2\nC: 3\n\nbody");
}

/// Returns a random multipart document with its parts: separators of any kind, contents with anything but a delimiter.
class random_documents
{
public:
    explicit random_documents(unsigned seed)
        : random_(seed)
    {}
    std::string make(int depth, std::vector<std::string>& leaves)
    {
        if (depth == 0 || chance(3)) {
            leaves.push_back((chance(3) ? "" : "X-Leaf: 1" + end_) + end_ + contents());
            return leaves.back();
        }
        const std::string boundary = "b" + std::to_string(++boundaries_);
        std::string text = "Content-Type: multipart/mixed; boundary=" + boundary + end_ + end_;
        text += chance(2) ? "preamble" + end_ : "";
        for (std::size_t i = 1 + random_() % 3; i > 0; --i) {
            text += "--" + boundary + end_ + make(depth - 1, leaves) + end_;
        }
        return text + "--" + boundary + "--" + (chance(2) ? end_ + "epilogue" : "");
    }
    std::string end_ = "\r\n";

private:
    bool chance(unsigned of) { return random_() % of == 0; }
    std::string contents()
    {
        std::string text;
        for (std::size_t i = random_() % 30; i > 0; --i) {
            text += "\n-- =ab\0\xFF\r"[random_() % (end_ == "\n" ? 9 : 10)]; // an LF behind a CR would be one line end
        }
        return text;
    }

    std::mt19937 random_;
    int boundaries_ = 0;
};

void find_leaves(const part_place& part, part_path& path, std::vector<part_path>& found)
{
    if (part.parts.empty()) {
        found.push_back(path);
    }
    for (std::uint32_t i = 0; i < part.parts.size(); ++i) {
        path.push_back(i);
        find_leaves(part.parts[i], path, found);
        path.pop_back();
    }
}

TEST(document_draft, keeps_every_other_part_of_any_document_in_its_place)
{
    for (unsigned seed = 1; seed <= 300; ++seed) {
        random_documents generator(seed);
        generator.end_ = seed % 2 == 0 ? "\n" : "\r\n";
        std::vector<std::string> leaves;
        const std::string text = generator.make(3, leaves) + generator.end_;
        edited original(text);
        EXPECT_EQ(original.finish(), text) << seed;
        std::vector<part_path> paths;
        part_path path;
        find_leaves(original.whole, path, paths);
        ASSERT_EQ(paths.size(), leaves.size()) << seed << '\n' << text;
        if (paths.front().empty()) {
            continue;
        }
        for (std::size_t taken = 0; taken < paths.size(); ++taken) {
            edited change(text);
            change.copy.replace(*change.copy.find(paths[taken]),
                                make_leaf("X-New: 1" + generator.end_, *bytes_of("new"), false, generator.end_));
            const std::string after = change.finish();
            const part_place& old = *part_at(change.whole, paths[taken]);
            EXPECT_EQ(after.substr(0, old.begin), text.substr(0, old.begin)) << seed;
            const std::string tail = text.substr(old.end);
            EXPECT_EQ(after.substr(after.size() - tail.size()), tail) << seed;
            const bytes_ptr again = bytes_of(after);
            const part_place whole = find_parts(*again);
            for (std::size_t i = 0; i < paths.size(); ++i) {
                const part_place* part = part_at(whole, paths[i]);
                ASSERT_NE(part, nullptr) << seed;
                const std::string found = text_of_range(*again, part->begin, part->end);
                EXPECT_EQ(i == taken, found.starts_with("X-New: 1")) << seed;
                EXPECT_TRUE(i == taken || found == leaves[i]) << seed;
            }
        }
    }
}

} // namespace
} // namespace host::test
