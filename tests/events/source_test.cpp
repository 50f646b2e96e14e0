#include "events/source.h"
#include "events/source_registration.h"
#include "test_messages/test_messages.h"

#include <platform/handles.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const wchar_t* source_name = L"postwarden-test-source";
constexpr const wchar_t* log_key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\";

/// Returns a value of the entry of the source, with its type; nothing if there is none.
std::optional<std::vector<BYTE>> value_of(const std::wstring& name, DWORD type)
{
    std::vector<BYTE> bytes(1024);
    auto size = static_cast<DWORD>(bytes.size());
    DWORD found = 0;
    const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, (std::wstring(log_key) + source_name).c_str(),
                                          name.c_str(), RRF_RT_ANY | RRF_NOEXPAND, &found, bytes.data(), &size);
    if (status != ERROR_SUCCESS || found != type) {
        return std::nullopt;
    }
    bytes.resize(size);
    return bytes;
}

std::wstring file_of_entry()
{
    const auto bytes = value_of(L"EventMessageFile", REG_EXPAND_SZ);
    return bytes ? std::wstring(reinterpret_cast<const wchar_t*>(bytes->data())) : std::wstring();
}

/// Returns the text that a viewer of the event log shows.
std::wstring shown(std::uint32_t id, std::vector<const wchar_t*> texts)
{
    std::vector<wchar_t> text(1024);
    std::vector<DWORD_PTR> arguments;
    for (const wchar_t* const one : texts) {
        arguments.push_back(reinterpret_cast<DWORD_PTR>(one));
    }
    const DWORD size =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr, id, 0, text.data(),
                         static_cast<DWORD>(text.size()), reinterpret_cast<va_list*>(arguments.data()));
    return {text.data(), size};
}

TEST(event_source, is_entered_with_the_module_of_its_messages_and_removed)
{
    ASSERT_EQ(events::add_source(source_name, L"C:\\first folder\\first.dll"), 0U);
    ASSERT_EQ(events::add_source(source_name, L"C:\\second.dll"), 0U);
    EXPECT_EQ(file_of_entry(), L"C:\\second.dll");
    const auto types = value_of(L"TypesSupported", REG_DWORD);
    ASSERT_TRUE(types);
    EXPECT_EQ(types->front(), EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE);
    EXPECT_EQ(events::remove_source(source_name), 0U);
    winapi::registry_handle key;
    EXPECT_EQ(
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(log_key) + source_name).c_str(), 0, KEY_READ, key.put()),
        ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(events::remove_source(source_name), 0U);
}

TEST(event_source, has_a_name_that_is_no_path)
{
    for (const std::wstring name : {L"", L"a\\b", L"\\"}) {
        EXPECT_EQ(events::add_source(name, L"C:\\a.dll"), static_cast<std::uint32_t>(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(events::remove_source(name), static_cast<std::uint32_t>(ERROR_INVALID_PARAMETER));
    }
}

TEST(event_source, reports_from_several_threads_and_too_many_and_too_long_texts)
{
    events::source source(source_name);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&source] {
            source.report(events::severity::information, test_event_started, {L"1345", L"builtin"});
            source.report(events::severity::error, test_event_failed, {std::wstring(100000, L'x')});
            source.report(events::severity::warning, test_event_failed, std::vector<std::wstring>(300, L"text"));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(event_source, of_a_module_has_the_texts_of_its_messages)
{
    EXPECT_EQ(shown(test_event_started, {L"1345", L"builtin"}),
              L"The service listens on port 1345, engines: builtin.\r\n");
    EXPECT_EQ(shown(test_event_failed, {L"the port is in use"}),
              L"The service could not start: the port is in use\r\n");
    EXPECT_EQ(test_event_started >> 30U, 1U);
    EXPECT_EQ(test_event_failed >> 30U, 3U);
}

} // namespace
