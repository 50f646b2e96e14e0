#include "desk/cli/scan_run.h"

#include "desk/run/expected_work.h"
#include "mail/files/path_text.h"

#include <filesystem>
#include <system_error>

namespace host {

scan_run::scan_run(const scan_options& options, const console& where)
    : where_(where)
    , files_(options.files, options.recursive, wanted_files::all)
    , progress_(where,
                where.shows_progress ? expect_work(options.files, options.recursive, true, wanted_files::all)
                                     : expected_work(),
                "files")
    , nameless_(options.files.empty())
{}

bool scan_run::next(std::string& file)
{
    bytes_ += size_;
    size_ = 0;
    if (nameless_) {
        nameless_ = false;
        file.clear();
        return true;
    }
    for (;;) {
        try {
            const auto found = files_.next();
            progress_.show(begun_, bytes_);
            if (!found) {
                return false;
            }
            ++begun_;
            std::error_code problem;
            const std::uintmax_t size = std::filesystem::file_size(*found, problem);
            size_ = problem ? 0 : size;
            file = text_of_path(*found);
            return true;
        } catch (const unreadable_input& failure) {
            report(where_, failure.name(), failure.what());
            unreadable_ = true;
        }
    }
}

} // namespace host
