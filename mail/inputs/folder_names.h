#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace host {

enum class name_order
{
    as_read, ///< that of the file system
    by_text,
    by_number ///< names of digits first, by their number, then the others
};

/// Returns the names in a folder, one at a time. Only a limited number of names is held in memory: for a sorted order
/// the folder is read again for each further batch, so that the names of a folder that changes meanwhile are still
/// returned at most once. For the order as_read it is read once, and stays open until the end.
class folder_names
{
public:
    using filter = std::function<bool(const std::filesystem::directory_entry& entry)>;

    folder_names(std::filesystem::path folder, name_order order, filter wanted, std::size_t batch = 8192);

    /// Returns the next name; nullopt at the end. Throws std::runtime_error with the reason if the folder cannot be
    /// read; the next call then returns nullopt.
    std::optional<std::filesystem::path> next();

private:
    using name = std::filesystem::path::string_type;
    using name_view = std::basic_string_view<name::value_type>;

    [[nodiscard]] bool is_less(name_view left, name_view right) const;
    void read_on();
    void read_batch();
    [[noreturn]] void end_by(const std::error_code& problem);

    std::filesystem::path folder_;
    name_order order_;
    filter wanted_;
    std::size_t batch_;
    std::size_t name_begin_;                    ///< in the path of an entry
    std::filesystem::directory_iterator entry_; ///< the last one of the order as_read
    bool begun_ = false;
    std::vector<name> names_; ///< the current batch, in reverse order
    std::optional<name> last_;
    bool ended_ = false;
};

/// Returns true for a name that consists of digits.
bool is_number(const std::filesystem::path& name);

} // namespace host
