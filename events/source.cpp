#include "events/source.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace events {

namespace {

/// The system refuses a record with a longer text.
constexpr std::size_t longest_text = 31839;

WORD type_of(severity kind) noexcept
{
    switch (kind) {
    case severity::error:
        return EVENTLOG_ERROR_TYPE;
    case severity::warning:
        return EVENTLOG_WARNING_TYPE;
    case severity::information:
        break;
    }
    return EVENTLOG_INFORMATION_TYPE;
}

} // namespace

source::source(const std::wstring& name) noexcept
    : handle_(::RegisterEventSourceW(nullptr, name.c_str()))
{}

source::~source()
{
    if (handle_ != nullptr) {
        ::DeregisterEventSource(handle_);
    }
}

void source::report(severity kind, std::uint32_t id, std::vector<std::wstring> texts) noexcept
{
    constexpr std::size_t most_texts = 16;
    std::array<const wchar_t*, most_texts> pointers{};
    const std::size_t count = std::min(texts.size(), most_texts);
    for (std::size_t i = 0; i < count; ++i) {
        texts[i].resize(std::min(texts[i].size(), longest_text));
        pointers[i] = texts[i].c_str();
    }
    if (handle_ != nullptr) {
        ::ReportEventW(handle_, type_of(kind), 0, id, nullptr, static_cast<WORD>(count), 0, pointers.data(), nullptr);
    }
}

} // namespace events
