#include "service/scoped_output.h"

#include "logging/configuration.h"
#include "logging/sinks.h"
#include "service/journal.h"
#include "tool/system/conversions.h"

namespace logging {

scoped_output::scoped_output(const std::string& file, std::optional<priority::level_type> level)
{
    open(file, level);
    begin();
}

void scoped_output::open(const std::string& file, std::optional<priority::level_type> level)
{
    if (file.empty() && !level) {
        return;
    }
    sink_target target = stderr_target{};
    if (!file.empty()) {
        file_target wanted;
        wanted.path = winapi::conv_to_wide(file, winapi::code_page_utf8);
        target = wanted;
    }
    const bool to_journal = file.empty() && service::standard_error_is_journal();
    sink_ = to_journal ? service::open_journal_sink() : open_sink(target);
    level_ = level.value_or(priority::course);
}

void scoped_output::begin()
{
    if (sink_) {
        log_manager::default_manager().add_sink(sink_, level_);
    }
}

scoped_output::~scoped_output()
{
    if (sink_) {
        log_manager::default_manager().remove_sink(sink_);
    }
}

} // namespace logging
