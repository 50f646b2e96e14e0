#include "mail/msg/compound_file.h"
#include "mail/msg/compound_reader.h"
#include "mail/msg/compound_writer.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace host::msg {

namespace {

struct file_close
{
    void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
};
using file_ptr = std::unique_ptr<std::FILE, file_close>;

void expect(bool done)
{
    if (!done) {
        const int problem = errno;
        throw std::runtime_error(problem == 0 ? "the file cannot be written"
                                              : std::error_code(problem, std::generic_category()).message());
    }
}

} // namespace

storage_ptr load_storage(const std::filesystem::path&, const bytes_ptr& contents, const compound_structure& structure)
{
    return read_storages(contents, structure);
}

void save_storage(const storage_tree& contents, const std::filesystem::path& file)
{
    errno = 0;
    file_ptr target(std::fopen(file.c_str(), "wb"));
    expect(target != nullptr);
    write_storages(contents, [&target](std::string_view bytes) {
        expect(std::fwrite(bytes.data(), 1, bytes.size(), target.get()) == bytes.size());
    });
    expect(std::fflush(target.get()) == 0);
    expect(std::fclose(target.release()) == 0);
}

} // namespace host::msg
