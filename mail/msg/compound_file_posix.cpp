#include "mail/msg/compound_file.h"
#include "mail/msg/gsf_bytes.h"
#include "store/unreadable_message.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>
#include <stdexcept>
#include <system_error>

namespace host::msg {

namespace {

static_assert(sizeof(GUID) == 16, "class identifiers are read and written as they lie in memory");

void ignore_warning(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

/// Initializes the library's types once for the process. Its messages are discarded, because this program reports the
/// reasons of failures itself.
void prepare_library()
{
    static std::once_flag once;
    std::call_once(once, [] {
        gsf_init();
        g_log_set_handler("libgsf:msole", G_LOG_LEVEL_WARNING, ignore_warning, nullptr);
    });
}

class storage_loader
{
public:
    storage_ptr load(GsfInfile* storage)
    {
        auto tree = std::make_shared<storage_tree>();
        gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(storage), reinterpret_cast<guint8*>(&tree->class_id));
        const int count = gsf_infile_num_children(storage);
        for (int i = 0; i < count; ++i) {
            gsf_ptr<GsfInput> child(gsf_infile_child_by_index(storage, i));
            const char* name = gsf_infile_name_by_index(storage, i);
            if (!child || !name) {
                throw unreadable_message("its table of contents is damaged");
            }
            if (gsf_infile_num_children(GSF_INFILE(child.get())) >= 0) {
                tree->storages.push_back({name, load(GSF_INFILE(child.get()))});
            } else {
                tree->streams.push_back({name, load_stream(std::move(child))});
            }
        }
        return tree;
    }

private:
    bytes_ptr load_stream(gsf_ptr<GsfInput> stream)
    {
        constexpr std::size_t least_left_in_file = 4096;
        const auto size = static_cast<std::size_t>(gsf_input_size(stream.get()));
        if (size >= least_left_in_file) {
            return bytes_of_input(std::move(stream), lock_);
        }
        std::string text(size, '\0');
        if (size != 0 && !gsf_input_read(stream.get(), size, reinterpret_cast<guint8*>(text.data()))) {
            throw unreadable_message("a part of it cannot be read");
        }
        return bytes_of(std::move(text));
    }

    std::shared_ptr<std::mutex> lock_ = std::make_shared<std::mutex>();
};

struct file_close
{
    void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
};
using file_ptr = std::unique_ptr<std::FILE, file_close>;

[[noreturn]] void fail()
{
    const int problem = errno;
    throw std::runtime_error(problem == 0 ? "the file cannot be written"
                                          : std::error_code(problem, std::generic_category()).message());
}

void expect(bool done)
{
    if (!done) {
        fail();
    }
}

gsf_ptr<GsfOutput> new_child(GsfOutfile* parent, const std::string& name, bool is_storage)
{
    gsf_ptr<GsfOutput> child(gsf_outfile_new_child(parent, name.c_str(), is_storage ? TRUE : FALSE));
    expect(child != nullptr);
    return child;
}

void save_stream(GsfOutput* target, const bytes& contents)
{
    std::array<char, 65536> block{};
    for (std::uint64_t offset = 0; offset < contents.size();) {
        const std::size_t got = contents.read(offset, block.data(), block.size());
        if (got == 0) {
            throw std::runtime_error("a part of the message could not be read");
        }
        expect(gsf_output_write(target, got, reinterpret_cast<const guint8*>(block.data())) != FALSE);
        offset += got;
    }
}

void save(GsfOutfile* target, const storage_tree& contents)
{
    gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(target), reinterpret_cast<const guint8*>(&contents.class_id));
    for (const auto& stream : contents.streams) {
        const auto child = new_child(target, stream.name, false);
        save_stream(child.get(), *stream.contents);
        expect(gsf_output_close(child.get()) != FALSE);
    }
    for (const auto& storage : contents.storages) {
        const auto child = new_child(target, storage.name, true);
        save(GSF_OUTFILE(child.get()), *storage.contents);
        expect(gsf_output_close(child.get()) != FALSE);
    }
}

} // namespace

storage_ptr load_storage(const std::filesystem::path&, const bytes_ptr& contents)
{
    prepare_library();
    const auto input = make_gsf_input(contents);
    const gsf_ptr<GsfInfile> file(gsf_infile_msole_new(input.get(), nullptr));
    if (!file) {
        throw unreadable_message("its table of contents is damaged");
    }
    return storage_loader().load(file.get());
}

void save_storage(const storage_tree& contents, const std::filesystem::path& file)
{
    prepare_library();
    errno = 0;
    file_ptr target(std::fopen(file.c_str(), "wb"));
    expect(target != nullptr);
    {
        const gsf_ptr<GsfOutput> sink(gsf_output_stdio_new_FILE(file.c_str(), target.get(), TRUE));
        const gsf_ptr<GsfOutfile> root(gsf_outfile_msole_new(sink.get()));
        save(root.get(), contents);
        expect(gsf_output_close(GSF_OUTPUT(root.get())) != FALSE);
    }
    expect(std::fflush(target.get()) == 0 && std::ferror(target.get()) == 0);
    expect(std::fclose(target.release()) == 0);
}

} // namespace host::msg
