#include "desk/cli/settings_input.h"

#include "desk/run/interruption.h"
#include "desk/settings/settings_file.h"
#include "mail/files/path_text.h"
#include "mail/inputs/input_files.h"

#include <fstream>
#include <system_error>

namespace host {

settings_input::settings_input(const std::string& file)
    : path_(path_of(file))
{
    std::error_code ignored;
    if (file == standard_input_name || std::filesystem::is_other(path_, ignored)) {
        read_stream();
    }
}

void settings_input::read_stream()
{
    try {
        const std::string contents = to_string(*bytes_of_input(path_, interruption::limits_of_inputs()));
        path_ = folder_.emplace().path() / "settings";
        std::ofstream output(path_, std::ios::binary);
        output.write(contents.data(), static_cast<std::streamsize>(contents.size()));
        output.close();
        if (!output) {
            throw std::runtime_error("a temporary file could not be written");
        }
    } catch (const std::runtime_error& failure) {
        throw settings_file_error(failure.what());
    }
}

} // namespace host
