#pragma once

#include "desk/report/html_report.h"
#include "desk/run/console.h"
#include "desk/run/open_options.h"
#include "desk/run/scan_target.h"

#include <memory>
#include <string>
#include <string_view>

namespace host {

/// Returns the heading of the page for a run of `program` that begins now. `target` is the scanning service; null if it
/// is specified by settings.
[[nodiscard]] report_heading heading_of(const open_options& options, const scan_target* target,
                                        std::string_view program);

/// The page of a run, if one is requested. A failure of the page is reported on the console and does not end the run.
class requested_page final : public opening_report
{
public:
    /// Reports it on the console if the page obviously cannot be written; then good() is false.
    requested_page(const std::string& file, const report_heading& heading, const console& where);

    /// Returns false if the page could not be written.
    [[nodiscard]] bool good() const noexcept { return good_; }
    /// Returns the object itself if there is a page, else null.
    [[nodiscard]] opening_report* report() noexcept { return page_ ? this : nullptr; }

    void add(const reported_opening& entry) override;
    void add_unreadable(const std::string& file, const std::string& why) override;
    void finish(const opening_totals& totals) override;

private:
    template <typename Step>
    void attempt(Step&& step);

    std::string file_;
    const console& where_;
    std::unique_ptr<html_report> page_;
    bool good_ = true;
};

} // namespace host
