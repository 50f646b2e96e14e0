#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace host {

enum class name_order
{
    by_text,
    by_number ///< names of digits first, by their number, then the others
};

/// Returns the names in a folder in a stable order, one at a time. Only a limited number of names is held in memory:
/// the folder is read again for each further batch, so that the names of a folder that changes meanwhile are still
/// returned at most once.
class sorted_names
{
public:
    using filter = std::function<bool(const std::filesystem::directory_entry& entry)>;

    sorted_names(std::filesystem::path folder, name_order order, filter wanted, std::size_t batch = 8192);

    /// Returns the next name; nullopt at the end. Throws std::runtime_error with the reason if the folder cannot be
    /// read; the next call then returns nullopt.
    std::optional<std::filesystem::path> next();

private:
    using name = std::filesystem::path::string_type;

    [[nodiscard]] bool is_less(const name& left, const name& right) const;
    void read_batch();

    std::filesystem::path folder_;
    name_order order_;
    filter wanted_;
    std::size_t batch_;
    std::vector<name> names_; ///< the current batch, in reverse order
    std::optional<name> last_;
    bool ended_ = false;
};

/// Returns true for a name that consists of digits.
bool is_number(const std::filesystem::path& name);

} // namespace host
