#include "desk/copies/saving_options.h"

#include "desk/copies/saved_messages.h"
#include "mail/files/path_text.h"

#include <CLI/CLI.hpp>

#include <map>

namespace host {

void add_saving_options(CLI::App& command, saving_options& options)
{
    static const std::map<std::string, mail_format> formats{{"eml", mail_format::eml}, {"msg", mail_format::msg}};
    command
        .add_option("--save", options.save_to, "Save each message as it then stands; the folder is made when missing")
        ->type_name("DIR");
    command.add_option("--format", options.format, "Form of the saved messages (default: as the source)")
        ->transform(CLI::CheckedTransformer(formats).description(""))
        ->type_name("eml|msg");
    command.add_flag("--reopen", options.reopen,
                     "Start each opening after the first from the saved message, read from disk; opens twice unless "
                     "--times says more; without --save the messages are saved to a passing folder");
}

std::string settle(const CLI::App& command, open_options& options, const saving_options& saving)
{
    if (command.count("--save") != 0 && saving.save_to.empty()) {
        return "--save needs a folder";
    }
    if (saving.format && saving.save_to.empty() && !saving.reopen) {
        return "--format says how messages are saved: give --save or --reopen too";
    }
    if (saving.reopen && command.count("--times") == 0) {
        options.times = 2;
    }
    return saving.reopen && options.times < 2 ? "--reopen opens each message twice at least" : "";
}

std::unique_ptr<message_copies> make_copies(const saving_options& saving)
{
    if (!saving.save_to.empty()) {
        return std::make_unique<saved_messages>(path_of(saving.save_to), saving.format);
    }
    return saving.reopen ? std::make_unique<passing_messages>(saving.format) : nullptr;
}

} // namespace host
