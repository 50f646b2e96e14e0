#include "service/settings_in_force.h"

#include "service/engine/make_engine.h"
#include "service/rules.h"

namespace service {

std::shared_ptr<scan_engine> engine_of(const server_options& options)
{
    return options.custom_engine ? options.custom_engine : make_engines(options.engines, {options.clamd_streams});
}

bool has_same_engine(const server_options& one, const server_options& other)
{
    return one.custom_engine == other.custom_engine &&
           (one.custom_engine || (one.engines == other.engines && one.clamd_streams == other.clamd_streams));
}

settings_pointer in_force(server_options options, std::shared_ptr<engine_in_use> engine)
{
    reply_maker replies(options.preview, load_notice(options.notice_file, options.language));
    object_lists lists(options.lists);
    const std::uint64_t rules = number_of_rules(options.lists, options.policy);
    return std::make_shared<settings_in_force>(
        settings_in_force{std::move(options), std::move(replies), std::move(lists), std::move(engine), rules});
}

} // namespace service
