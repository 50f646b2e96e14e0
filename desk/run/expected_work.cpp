#include "desk/run/expected_work.h"

#include "desk/run/console.h"
#include "mail/files/path_text.h"
#include "mail/inputs/byte_stream.h"
#include "mail/inputs/folder_walk.h"
#include "mail/inputs/mbox_splitter.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace host {

namespace {

namespace fs = std::filesystem;
using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds longest_survey{800}; // the progress begins within a second
constexpr std::size_t columns_of_number = 7;             ///< "#123456"

/// Returns the columns of the largest number that a message of an mbox of this size may have, with the "#".
std::size_t number_columns(std::uint64_t bytes)
{
    constexpr std::uint64_t smallest_message = 64;
    return 1 + std::to_string(bytes / smallest_message + 1).size();
}

bool has_envelope(const fs::path& file)
{
    std::array<char, 5> start{};
    std::ifstream input(file, std::ios::binary);
    input.read(start.data(), start.size());
    return input && is_envelope({start.data(), start.size()});
}

class survey
{
public:
    survey(bool recursive, bool with_sizes, wanted_files wanted)
        : recursive_(recursive)
        , wanted_(wanted)
        , with_sizes_(with_sizes)
    {
        found_.messages = 0;
        found_.bytes = 0;
    }

    void add(const std::string& path)
    {
        const fs::path file = path_of(path);
        std::error_code problem;
        const fs::file_status status = fs::status(file, problem);
        if (path != standard_input_name && fs::is_directory(status)) {
            add_folder(file);
        } else if (path != standard_input_name && fs::is_regular_file(status)) {
            add_file(file, may_be_mbox(file));
        } else if (path == standard_input_name || fs::exists(status)) {
            found_.messages.reset();
            found_.bytes.reset();
            widen(columns_of(path) + columns_of_number);
        }
    }
    [[nodiscard]] expected_work result() const
    {
        return in_time() ? found_ : expected_work{found_.widest_name, std::nullopt, std::nullopt};
    }

private:
    [[nodiscard]] bool in_time() const { return clock::now() - start_ < longest_survey; }
    void widen(std::size_t columns) { found_.widest_name = std::max(found_.widest_name, columns); }

    /// Files of these extensions, of which there are many, are taken for one message without a look at them.
    [[nodiscard]] bool may_be_mbox(const fs::path& file) const
    {
        const std::string extension = text_of_path(file.extension());
        const bool single =
            winapi::compare_no_case(extension, ".eml") == 0 || winapi::compare_no_case(extension, ".msg") == 0;
        return wanted_ == wanted_files::mail && !single && has_envelope(file);
    }

    void add_folder(const fs::path& folder)
    {
        folder_walk walk(folder, recursive_, wanted_, walk_order::as_read);
        while (in_time()) {
            try {
                const auto file = walk.next();
                if (!file) {
                    return;
                }
                add_file(*file, may_be_mbox(*file));
            } catch (const std::runtime_error&) { // it is reported when the folder is read
            }
        }
    }

    void add_file(const fs::path& file, bool is_mbox)
    {
        std::error_code problem;
        const std::uint64_t size = with_sizes_ || is_mbox ? fs::file_size(file, problem) : 0;
        if (problem) {
            return;
        }
        widen(columns_of(text_of_path(file)) + (is_mbox ? number_columns(size) : 0));
        if (is_mbox) {
            found_.messages.reset();
        } else if (found_.messages) {
            ++*found_.messages;
        }
        if (found_.bytes) {
            *found_.bytes += size;
        }
    }

    bool recursive_;
    wanted_files wanted_;
    bool with_sizes_;
    clock::time_point start_ = clock::now();
    expected_work found_;
};

} // namespace

expected_work expect_work(const std::vector<std::string>& paths, bool recursive, bool with_sizes, wanted_files wanted)
{
    survey all(recursive, with_sizes, wanted);
    for (const std::string& path : paths) {
        all.add(path);
    }
    return all.result();
}

} // namespace host
