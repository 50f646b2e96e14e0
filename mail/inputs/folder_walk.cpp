#include "mail/inputs/folder_walk.h"

#include "mail/files/path_text.h"
#include "mail/inputs/mbox_splitter.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

/// Deeper folders exist only where a link leads back in a way that the system does not show.
constexpr std::size_t deepest = 100;

bool is_hidden(const fs::path& name)
{
    return name.native().front() == '.';
}

bool is_folder(const fs::path& path)
{
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

bool has_mail_extension(const fs::path& file)
{
    const std::string extension = text_of_path(file.extension());
    constexpr std::array known{".eml", ".msg", ".mbox", ".mbx"};
    return std::any_of(known.begin(), known.end(),
                       [&](const char* one) { return winapi::compare_no_case(extension, one) == 0; });
}

/// Returns true if the first line is an envelope line with a time. Ordinary texts may begin with "From" too.
bool begins_like_mbox(const fs::path& file)
{
    constexpr std::size_t longest = 1024;
    std::string start(longest, '\0');
    std::ifstream input(file, std::ios::binary);
    input.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(input.gcount()));
    const std::string_view line = std::string_view(start).substr(0, start.find('\n'));
    const auto is_digit = [&line](std::size_t at) { return at < line.size() && line[at] >= '0' && line[at] <= '9'; };
    for (std::size_t colon = line.find(':'); colon != std::string_view::npos; colon = line.find(':', colon + 1)) {
        if (colon > 1 && is_digit(colon - 1) && is_digit(colon + 1) && is_digit(colon + 2)) {
            return is_envelope(line);
        }
    }
    return false;
}

/// Returns true if the folder has numbered files, and none but these and those that were marked as deleted by a comma.
bool has_only_numbered_files(const fs::path& folder)
{
    std::error_code problem;
    bool found = false;
    for (fs::directory_iterator entry(folder, problem); !problem && entry != fs::directory_iterator();
         entry.increment(problem)) {
        const fs::path name = entry->path().filename();
        std::error_code ignored;
        if (is_hidden(name) || name.native().front() == ',' || entry->is_directory(ignored)) {
            continue;
        }
        if (!is_number(name)) {
            return false;
        }
        found = true;
    }
    return found;
}

bool is_wanted_file(const fs::directory_entry& entry, folder_kind kind, wanted_files wanted)
{
    const fs::path name = entry.path().filename();
    std::error_code ignored;
    if (is_hidden(name)) {
        return false;
    }
    const bool regular = entry.is_regular_file(ignored);
    // Reading a pipe or a device could take forever. A dangling link is reported when it is read.
    if (!regular && (!entry.is_symlink(ignored) || entry.exists(ignored))) {
        return false;
    }
    if (wanted == wanted_files::all || kind == folder_kind::maildir_part || has_mail_extension(name)) {
        return true;
    }
    return (kind == folder_kind::mh && is_number(name)) || (regular && begins_like_mbox(entry.path()));
}

} // namespace

folder_kind kind_of_folder(const fs::path& folder)
{
    std::error_code ignored;
    const fs::path whole = fs::absolute(folder, ignored).lexically_normal();
    const fs::path path = whole.has_filename() ? whole : whole.parent_path();
    if (is_folder(path / "cur") && is_folder(path / "new")) {
        return folder_kind::maildir;
    }
    const fs::path outer = path.parent_path();
    if ((path.filename() == "cur" || path.filename() == "new") && is_folder(outer / "cur") &&
        is_folder(outer / "new")) {
        return folder_kind::maildir_part;
    }
    return fs::exists(path / ".mh_sequences", ignored) || has_only_numbered_files(path) ? folder_kind::mh
                                                                                        : folder_kind::plain;
}

folder_walk::folder_walk(const fs::path& folder, bool recursive, wanted_files wanted, walk_order order)
    : recursive_(recursive)
    , wanted_(wanted)
    , order_(order)
    , place_(folder)
{
    enter(folder);
}

void folder_walk::enter(const fs::path& folder)
{
    place_ = folder;
    if (levels_.size() == deepest) {
        throw std::runtime_error("the folder is too deep inside of others");
    }
    const folder_kind kind = wanted_ == wanted_files::all ? folder_kind::plain : kind_of_folder(folder);
    const auto order = [this](name_order sorted) {
        return order_ == walk_order::sorted ? sorted : name_order::as_read;
    };
    levels_.push_back(
        {folder,
         folder_names(folder, order(kind == folder_kind::mh ? name_order::by_number : name_order::by_text),
                      [kind, this](const fs::directory_entry& entry) { return is_wanted_file(entry, kind, wanted_); }),
         folder_names(folder, order(name_order::by_text),
                      [kind, this](const fs::directory_entry& entry) { return is_wanted_folder(entry, kind); })});
}

bool folder_walk::is_wanted_folder(const fs::directory_entry& entry, folder_kind kind)
{
    std::error_code ignored;
    if (!entry.is_directory(ignored)) {
        return false;
    }
    const fs::path name = entry.path().filename();
    if (kind == folder_kind::maildir) {
        if (name == "cur" || name == "new") {
            return true;
        }
        if (name == "tmp" || (is_hidden(name) && kind_of_folder(entry.path()) != folder_kind::maildir)) {
            return false;
        }
    } else if (is_hidden(name)) {
        return false;
    }
    if (entry.is_symlink(ignored)) {
        return false;
    }
    left_out_folders_ = left_out_folders_ || !recursive_;
    return recursive_;
}

std::optional<fs::path> folder_walk::next_of_level()
{
    level& last = levels_.back();
    place_ = last.folder;
    std::optional<fs::path> inner;
    try {
        if (const auto file = last.files.next()) {
            return place_ / *file;
        }
        inner = last.folders.next();
    } catch (const std::runtime_error&) {
        levels_.pop_back();
        throw;
    }
    if (inner) {
        enter(place_ / *inner);
    } else {
        levels_.pop_back();
    }
    return std::nullopt;
}

std::optional<fs::path> folder_walk::next()
{
    while (!levels_.empty()) {
        if (auto file = next_of_level()) {
            return file;
        }
    }
    return std::nullopt;
}

} // namespace host
