#include "mail/mime/text/storage_text.h"

#include <cstring>

namespace host {

namespace {

void put(std::string& out, std::uint64_t number)
{
    for (unsigned i = 0; i < 8; ++i) {
        out += static_cast<char>(number >> (8 * i) & 0xFFU);
    }
}

void put(std::string& out, std::string_view text)
{
    put(out, text.size());
    out += text;
}

void put(std::string& out, const storage_tree& tree)
{
    out.append(reinterpret_cast<const char*>(&tree.class_id), sizeof tree.class_id);
    put(out, tree.streams.size());
    for (const auto& stream : tree.streams) {
        put(out, stream.name);
        put(out, std::string_view(to_string(*stream.contents)));
    }
    put(out, tree.storages.size());
    for (const auto& storage : tree.storages) {
        put(out, storage.name);
        put(out, *storage.contents);
    }
}

/// Removes pieces from the beginning of a text. After the first failure all further reads fail.
class reader
{
public:
    explicit reader(std::string_view text)
        : rest_(text)
    {}
    [[nodiscard]] bool good() const noexcept { return good_; }
    [[nodiscard]] bool at_end() const noexcept { return rest_.empty(); }
    std::string_view take(std::uint64_t size)
    {
        good_ = good_ && size <= rest_.size();
        if (!good_) {
            return {};
        }
        const std::string_view piece = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return piece;
    }
    std::uint64_t number()
    {
        std::uint64_t result = 0;
        const std::string_view piece = take(8);
        for (std::size_t i = 0; i < piece.size(); ++i) {
            result |= static_cast<std::uint64_t>(static_cast<unsigned char>(piece[i])) << (8 * i);
        }
        return result;
    }
    std::string text() { return std::string(take(number())); }

private:
    std::string_view rest_;
    bool good_ = true;
};

storage_ptr read(reader& input, std::size_t depth)
{
    auto tree = std::make_shared<storage_tree>();
    const std::string_view class_id = input.take(sizeof tree->class_id);
    if (!input.good() || depth >= deepest_storage) {
        return nullptr;
    }
    std::memcpy(&tree->class_id, class_id.data(), sizeof tree->class_id);
    for (std::uint64_t left = input.number(); left > 0 && input.good(); --left) {
        std::string name = input.text();
        tree->streams.push_back({std::move(name), bytes_of(input.text())});
    }
    for (std::uint64_t left = input.number(); left > 0 && input.good(); --left) {
        std::string name = input.text();
        storage_ptr inner = read(input, depth + 1);
        if (!inner) {
            return nullptr;
        }
        tree->storages.push_back({std::move(name), std::move(inner)});
    }
    return input.good() ? tree : nullptr;
}

} // namespace

std::string storage_text(const storage_tree& tree)
{
    std::string out;
    put(out, tree);
    return out;
}

storage_ptr parse_storage_text(std::string_view text)
{
    reader input(text);
    storage_ptr tree = read(input, 0);
    return tree && input.at_end() ? tree : nullptr;
}

} // namespace host
