// The cost of a condemned message: its disinfection, the whole opening with it, and the conversion of inline images
// compared with the bare decoding of the same images.

#include "bench/checked_state.h"
#include "bench/once.h"
#include "desk/cli/mail_client.h"
#include "desk/cli/service_link.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/disinfection/inline_images.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "service/engine/scan_engine.h"
#include "service/notice_page.h"
#include "service/scan_server.h"
#include "store/message_object.h"
#include "tool/system/base64.h"

#include <benchmark/benchmark.h>
#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/transform_width.hpp>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t mib = 1024UL * 1024UL;
constexpr std::uint32_t attachment_count = 100;

/// Larger than a body or a notice.
std::size_t attachment_size()
{
    return bench::usual_or_once(mib, mib / 16);
}

// --- memory

/// Resets the peak to the memory in use now.
void reset_peak()
{
    std::ofstream control("/proc/self/clear_refs");
    if (!(control << "5" << std::flush)) {
        throw std::runtime_error("/proc/self/clear_refs doesn't reset the peak");
    }
}

/// Returns a line of the process's status in MiB: "VmHWM:" for the peak, "VmRSS:" for the memory in use.
double status_mib(std::string_view name)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name) {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes / 1024;
        }
    }
    throw std::runtime_error("/proc/self/status tells no memory");
}

// --- disinfection

host::property_value text(std::wstring_view value)
{
    return host::property_value::of_text(value);
}

/// A message with 100 attachments, all of them different.
host::message_record make_message()
{
    host::message_record message;
    message.properties->set(PR_SUBJECT_W, text(L"Crane logs"));
    message.properties->set(PR_BODY_W, text(L"All logs of the year."));
    message.properties->set(PR_NATIVE_BODY_INFO, host::property_value::of_long(1));
    for (std::uint32_t number = 0; number < attachment_count; ++number) {
        const auto name = L"log-" + std::to_wstring(number) + L".bin";
        auto& attachment = message.attachments[number];
        attachment.properties->set(PR_ATTACH_METHOD, host::property_value::of_long(ATTACH_BY_VALUE));
        attachment.properties->set(PR_ATTACH_LONG_FILENAME_W, text(name));
        attachment.properties->set(PR_DISPLAY_NAME_W, text(name));
        std::string contents(attachment_size(), static_cast<char>('0' + number));
        attachment.properties->set(PR_ATTACH_DATA_BIN, host::property_value::of_binary(host::bytes_of(contents)));
    }
    return message;
}

/// Returns true if all attachments are gone and the same number of notices is there.
bool is_disinfected(const host::message_record& message)
{
    return message.attachments.size() == attachment_count &&
           std::all_of(message.attachments.begin(), message.attachments.end(), [](const auto& entry) {
               return entry.first >= attachment_count && entry.second.size() < attachment_size();
           });
}

void disinfection_of_100_attachments(benchmark::State& state)
{
    const host::message_record message = make_message();
    const auto disinfector = MakeMailDisinfector();
    VerdictCache verdicts;
    double growth = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto object =
            MakeCom<host::message_object>(message, true, [](const host::message_record&) { return HRESULT{S_OK}; });
        MailBodyInfo body;
        std::vector<AttachmentResult> records(attachment_count);
        for (std::uint32_t number = 0; number < attachment_count; ++number) {
            records[number].attachNumber = number;
            records[number].fileName = L"log-" + std::to_wstring(number) + L".bin";
            records[number].scanResult = ScanResult::Blocked;
            records[number].noticeHtml = service::notice_page("Test", "log.bin");
        }
        const double before = status_mib("VmRSS:");
        reset_peak();
        state.ResumeTiming();
        disinfector->DisinfectMessage(verdicts, ComPtr<IMessage>(object.get()), body, records, nullptr);
        state.PauseTiming();
        growth = std::max(growth, status_mib("VmHWM:") - before);
        if (!bench::expect(state, is_disinfected(object->current()), "not disinfected")) {
            break;
        }
        state.ResumeTiming();
    }
    state.counters["peak_growth_MiB"] = growth;
}
BENCHMARK(disinfection_of_100_attachments)->Unit(benchmark::kMicrosecond);

/// Reads an object to its end and condemns it unless it is a small one, such as the body.
class condemning_engine final : public service::scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "condemning"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info&, service::stop_token) override
    {
        return std::make_unique<one_scan>();
    }
    [[nodiscard]] std::string identity(service::stop_token) override { return "1"; }

private:
    class one_scan final : public service::object_scan
    {
    public:
        bool data(std::string_view) override { return true; }
        service::verdict finish(web::io_data& object) override
        {
            if (object.size() < attachment_size()) {
                return service::clean_verdict{};
            }
            return service::blocked_verdict{"Test"};
        }
    };
};

/// Item load to read complete: 100 attachments over the wire, then the disinfection.
void opening_with_100_condemned_attachments(benchmark::State& state)
{
    service::server_options options;
    options.custom_engine = std::make_shared<condemning_engine>();
    service::scan_server server(options);
    server.start();
    MailCheckerServices services;
    services.link = host::service_link(server.port(), L"webscan").get();
    services.disinfector = MakeMailDisinfector();
    const auto checker = std::make_shared<MailChecker>(std::move(services));
    checker->Init(false, 1, "bench", "S-1-5-21-0-0-0-1000");
    {
        host::mail_client client(checker);
        const auto message = std::make_shared<host::message_record>(make_message());
        double growth = 0;
        for (auto _ : state) {
            state.PauseTiming();
            const double before = status_mib("VmRSS:");
            reset_peak();
            state.ResumeTiming();
            const host::opening opened = client.open(message);
            state.PauseTiming();
            growth = std::max(growth, status_mib("VmHWM:") - before);
            const bool condemned = opened.result == S_OK && opened.verdict == ScanResult::Blocked;
            if (!bench::expect(state, condemned && is_disinfected(opened.shown), "not disinfected")) {
                break;
            }
            state.ResumeTiming();
        }
        state.counters["peak_growth_MiB"] = growth; // of client and service together
    }
    checker->Close();
}
BENCHMARK(opening_with_100_condemned_attachments)->UseRealTime()->Unit(benchmark::kMillisecond);

// --- inline images

constexpr std::size_t image_text = 10000; ///< characters of base64 in one image
constexpr std::size_t image_size = image_text / 4 * 3;

std::string image(std::size_t number)
{
    static constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result(image_text, 'A');
    std::uint32_t seed = static_cast<std::uint32_t>(number) * 2654435761U + 1;
    for (char& letter : result) {
        seed = seed * 1664525U + 1013904223U;
        letter = alphabet[seed >> 26];
    }
    return result;
}

/// As many images as the benchmark's argument says, and few when it runs only once.
std::size_t image_count(const benchmark::State& state)
{
    constexpr std::size_t few = 50;
    const auto count = static_cast<std::size_t>(state.range(0));
    return bench::usual_or_once(count, std::min(count, few));
}

/// HTML of so many images with a little text between them: 20 images are 200 KB, 2,000 are 20 MB.
std::string page(std::size_t images)
{
    std::string html = "<html><body>";
    for (std::size_t i = 0; i < images; ++i) {
        html +=
            "<p>Figure " + std::to_string(i) + "</p><img src=\"data:image/png;base64," + image(i) + "\" alt=\"\">\n";
    }
    return html + "</body></html>";
}

void extract_inline_images(benchmark::State& state)
{
    const std::size_t count = image_count(state);
    const std::string html = page(count);
    for (auto _ : state) {
        state.PauseTiming();
        std::string changed = html;
        std::vector<AttachmentResult> images;
        state.ResumeTiming();
        ExtractInlineImages(changed, images);
        state.PauseTiming();
        const bool converted =
            images.size() == count && changed.size() <= html.size() / 50 &&
            std::all_of(images.begin(), images.end(), [](const auto& one) { return one.data.size() == image_size; });
        if (!bench::expect(state, converted, "not converted")) {
            break;
        }
        changed = {};
        images = {};
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * html.size()));
}
BENCHMARK(extract_inline_images)->Arg(20)->Arg(200)->Arg(2000)->Unit(benchmark::kMicrosecond);

using decoder = std::vector<std::byte> (*)(const std::string& encoded);

std::vector<std::byte> decode(const std::string& encoded)
{
    return winapi::base64::decode<std::vector<std::byte>>(encoded).value();
}

std::vector<std::byte> decode_by_iterators(const std::string& encoded)
{
    using namespace boost::archive::iterators;
    using iterator = transform_width<binary_from_base64<const char*>, 8, 6>;
    std::vector<std::byte> bytes;
    bytes.reserve(encoded.size() / 4 * 3);
    const iterator end(encoded.data() + encoded.size());
    for (iterator next(encoded.data()); next != end; ++next) {
        bytes.push_back(static_cast<std::byte>(*next));
    }
    return bytes;
}

/// `judge` decodes the first image for comparison.
void decode_images(benchmark::State& state, decoder measured, decoder judge)
{
    const std::size_t count = image_count(state);
    std::vector<std::string> images;
    for (std::size_t i = 0; i < count; ++i) {
        images.push_back(image(i));
    }
    const std::vector<std::byte> first = judge(images.front());
    for (auto _ : state) {
        std::vector<std::vector<std::byte>> all;
        for (const std::string& encoded : images) {
            all.push_back(measured(encoded));
        }
        benchmark::DoNotOptimize(all.data());
        state.PauseTiming();
        if (!bench::expect(state, first.size() == image_size && all.front() == first, "other bytes")) {
            break;
        }
        all = {};
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * count * image_text));
}

/// The same images without a page around them.
void bare_base64(benchmark::State& state)
{
    decode_images(state, decode, decode_by_iterators);
}
BENCHMARK(bare_base64)->Arg(20)->Arg(2000)->Unit(benchmark::kMicrosecond);

/// As above, through the library's iterators.
void bare_base64_by_iterators(benchmark::State& state)
{
    decode_images(state, decode_by_iterators, decode);
}
BENCHMARK(bare_base64_by_iterators)->Arg(20)->Arg(2000)->Unit(benchmark::kMicrosecond);

} // namespace
