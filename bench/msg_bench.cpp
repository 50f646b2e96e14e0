// Outlook message files: writing and reading, compared with the time that msgconvert takes for the same files.

#include "bench/checked_state.h"
#include "bench/once.h"
#include "mail/msg/msg_file.h"
#include "store/tags.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>

namespace {

using namespace host;

/// A message with that many attachments of a size, as a file in a folder that is removed with the object.
class file_with
{
public:
    file_with(std::int64_t attachments, std::int64_t size)
        : folder_(std::filesystem::temp_directory_path() / ("msg_bench_" + std::to_string(::getpid())))
        , file(folder_ / "mail.msg")
        , message(make(attachments, static_cast<std::size_t>(size)))
        , contents(static_cast<std::uint64_t>(attachments * size))
    {
        std::filesystem::create_directories(folder_);
        write_msg(message, file);
        bytes = static_cast<std::int64_t>(std::filesystem::file_size(file));
    }
    file_with(const file_with&) = delete;
    file_with& operator=(const file_with&) = delete;
    ~file_with()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    /// Converts the file to MIME by msgconvert, which is a separate process. Returns false if that fails.
    [[nodiscard]] bool convert() const
    {
        const std::string command =
            "msgconvert --outfile '" + (folder_ / "mail.eml").string() + "' '" + file.string() + "' >/dev/null 2>&1";
        return std::system(command.c_str()) == 0; // NOLINT(cert-env33-c): the names are ours
    }
    /// Bytes of the last conversion.
    [[nodiscard]] std::uint64_t converted() const { return std::filesystem::file_size(folder_ / "mail.eml"); }

private:
    static message_record make(std::int64_t attachments, std::size_t size)
    {
        message_record record;
        record.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
        record.properties->set(PR_SUBJECT_W, property_value::of_text(L"Figures"));
        record.properties->set(0x1000001F, property_value::of_text(std::wstring(4096, L'x')));
        std::mt19937 random(1);
        std::string contents(size, '\0');
        for (char& letter : contents) {
            letter = static_cast<char>(random());
        }
        const bytes_ptr data = bytes_of(std::move(contents));
        for (std::int64_t i = 0; i < attachments; ++i) {
            attachment_record attachment;
            attachment.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
            attachment.properties->set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(L"figures.bin"));
            attachment.properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(data));
            record.attachments.emplace(static_cast<std::uint32_t>(i), std::move(attachment));
        }
        return record;
    }

    std::filesystem::path folder_;

public:
    std::filesystem::path file;
    message_record message;
    std::uint64_t contents; ///< bytes of all attachments
    std::int64_t bytes = 0;
};

/// Reads the contents of every attachment.
std::uint64_t read_contents(const message_record& message)
{
    static std::array<char, 65536> block;
    std::uint64_t sum = 0;
    for (const auto& [number, attachment] : message.attachments) {
        const auto& data = std::get<bytes_ptr>(attachment.properties->find(PROP_ID(PR_ATTACH_DATA_BIN))->data);
        for (std::uint64_t offset = 0; offset < data->size(); offset += block.size()) {
            sum += data->read(offset, block.data(), block.size());
        }
    }
    return sum;
}

bool same_contents(const message_record& left, const message_record& right)
{
    const auto data_of = [](const attachment_record& attachment) {
        return std::get<bytes_ptr>(attachment.properties->find(PROP_ID(PR_ATTACH_DATA_BIN))->data);
    };
    return std::equal(
        left.attachments.begin(), left.attachments.end(), right.attachments.begin(), right.attachments.end(),
        [&](const auto& one, const auto& other) { return same_bytes(data_of(one.second), data_of(other.second)); });
}

/// The file that the arguments of a benchmark name; of small attachments when it runs only once.
file_with made_for(const benchmark::State& state)
{
    const std::int64_t size = state.range(1);
    return {state.range(0), bench::usual_or_once(size, std::min<std::int64_t>(size, 100000))};
}

void arguments(benchmark::internal::Benchmark* bench)
{
    bench->Args({1, 4096})->Args({20, 100000})->Args({4, 16 << 20})->UseRealTime()->Unit(benchmark::kMillisecond);
}

/// Measured until everything is on the disk, so the disk's speed counts.
void write(benchmark::State& state)
{
    const file_with made = made_for(state);
    for (auto _ : state) {
        write_msg(made.message, made.file);
    }
    const message_record written = read_msg(made.file, std::make_shared<store_context>());
    bench::expect(state, same_contents(written, made.message), "other attachments were written");
    state.SetBytesProcessed(state.iterations() * made.bytes);
}
BENCHMARK(write)->Apply(arguments);

/// Reads all properties, and the contents of every attachment.
void read(benchmark::State& state)
{
    const file_with made = made_for(state);
    for (auto _ : state) {
        const std::uint64_t count = read_contents(read_msg(made.file, std::make_shared<store_context>()));
        if (!bench::expect(state, count == made.contents, "other attachments were read")) {
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * made.bytes);
}
BENCHMARK(read)->Apply(arguments);

/// Seconds per attachment.
struct attachment_times
{
    double write = 0;
    double read = 0;
};

/// Writes and reads a message with that many small attachments.
attachment_times times_of(benchmark::State& state, std::int64_t attachments)
{
    using clock = std::chrono::steady_clock;
    const file_with made(attachments, 100);
    const auto start = clock::now();
    write_msg(made.message, made.file);
    const auto written = clock::now();
    const message_record again = read_msg(made.file, std::make_shared<store_context>());
    const auto end = clock::now();
    bench::expect(state, same_contents(again, made.message), "other attachments were read");
    const auto each = [attachments](clock::duration spent) {
        return std::chrono::duration<double>(spent).count() / static_cast<double>(attachments);
    };
    return {each(written - start), each(end - written)};
}

/// Compares the time per attachment in a message with 8000 of them with that in a message with 1000. A ratio of 1 means
/// that the time is proportional to their number.
void many(benchmark::State& state)
{
    attachment_times few_sum;
    attachment_times many_sum;
    for (auto _ : state) {
        const attachment_times few = times_of(state, bench::usual_or_once(1000, 10));
        const attachment_times many = times_of(state, bench::usual_or_once(8000, 80));
        few_sum = {few_sum.write + few.write, few_sum.read + few.read};
        many_sum = {many_sum.write + many.write, many_sum.read + many.read};
    }
    state.counters["write_ratio"] = many_sum.write / few_sum.write;
    state.counters["read_ratio"] = many_sum.read / few_sum.read;
}
BENCHMARK(many)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Converts the same file to MIME by msgconvert, which is a separate process.
void msgconvert(benchmark::State& state)
{
    const file_with made = made_for(state);
    for (auto _ : state) {
        if (!bench::expect(state, made.convert(), "msgconvert cannot be run or failed")) {
            break;
        }
    }
    // In base64.
    bench::expect(state, made.converted() >= made.contents / 3 * 4, "not all attachments were converted");
    state.SetBytesProcessed(state.iterations() * made.bytes);
}
BENCHMARK(msgconvert)->Apply(arguments);

} // namespace
