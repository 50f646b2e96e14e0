#include "mail/files/atomic_file.h"

#include "mail/files/replace_file.h"
#include "mail/files/unfinished_path.h"

#include <optional>
#include <random>
#include <string>
#include <system_error>

namespace host {

namespace {

namespace fs = std::filesystem;

/// A new file in a folder, deleted with its object unless it has been renamed.
class temporary_file
{
public:
    explicit temporary_file(const fs::path& folder)
    {
        constexpr int attempts = 100;
        std::random_device random;
        for (int i = 0; i < attempts; ++i) {
            fs::path candidate = folder / (".postwarden-" + std::to_string(random()) + ".tmp");
            listed_.emplace(candidate);
            if (replacing::create(candidate)) {
                path_ = std::move(candidate);
                return;
            }
            listed_.reset();
        }
        throw fs::filesystem_error("cannot make a file", folder, std::make_error_code(std::errc::file_exists));
    }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;
    ~temporary_file()
    {
        if (!path_.empty()) {
            std::error_code ignored;
            fs::remove(path_, ignored);
        }
    }

    [[nodiscard]] const fs::path& path() const noexcept { return path_; }
    void rename(const fs::path& target)
    {
        replacing::rename(path_, target);
        listed_.reset();
        path_.clear();
    }

private:
    std::optional<unfinished_path> listed_;
    fs::path path_;
};

/// Allows only the replacement of regular files that are writable: a rename checks neither the type nor the permissions
/// of the file that it replaces.
void expect_replaceable(const fs::path& target, const fs::file_status& status)
{
    if (!fs::exists(status)) {
        return;
    }
    if (fs::is_directory(status)) {
        throw fs::filesystem_error("cannot write", target, std::make_error_code(std::errc::is_a_directory));
    }
    if (!fs::is_regular_file(status)) {
        throw fs::filesystem_error("cannot write", target, std::make_error_code(std::errc::operation_not_supported));
    }
    if (!replacing::is_writable(target)) {
        throw fs::filesystem_error("cannot write", target, std::make_error_code(std::errc::permission_denied));
    }
}

} // namespace

void write_atomically(const fs::path& target, const std::function<void(const fs::path& temporary)>& write)
{
    const fs::path place = fs::weakly_canonical(target); // a link is kept and its target replaced
    const fs::file_status status = fs::status(place);
    expect_replaceable(place, status);
    temporary_file temporary(place.parent_path());
    const bool replaces = fs::exists(status);
    if (replaces) { // early, so that the new contents are never readable by users denied the old ones
        fs::permissions(temporary.path(), status.permissions() | fs::perms::owner_read | fs::perms::owner_write);
    }
    write(temporary.path());
    if (replaces) {
        fs::permissions(temporary.path(), status.permissions());
    }
    replacing::sync(temporary.path());
    temporary.rename(place);
}

} // namespace host
