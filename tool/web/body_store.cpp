#include "tool/web/body_store.h"

#include "tool/web/io_file.h"
#include "tool/web/io_memory.h"

namespace web {

body_store_config& body_store_configuration()
{
    static body_store_config config;
    return config;
}

std::unique_ptr<io_data> make_body_store(std::uint64_t expected_size)
{
    return make_body_store(expected_size, body_store_configuration());
}

std::unique_ptr<io_data> make_body_store(std::uint64_t expected_size, const body_store_config& config)
{
    const bool known = (expected_size & unknown_body_size) != unknown_body_size;
    if (known && expected_size <= config.memory_units * body_store_config::memory_unit) {
        return std::make_unique<io_memory>(expected_size);
    }
    return std::make_unique<io_file>(config.temp_directory.empty() ? system_temp_directory()
                                                                   : with_separator(config.temp_directory));
}

} // namespace web
