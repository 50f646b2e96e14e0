#include "logging/logging.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

namespace {

/// The text passed to OutputDebugString while listen() is registered. Without a debugger it arrives as an exception
/// that a handler may inspect.
std::string heard;

LONG CALLBACK listen(EXCEPTION_POINTERS* raised)
{
    const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
    constexpr DWORD debug_print = 0x40010006;
    if (record.ExceptionCode == debug_print && record.NumberParameters == 2) {
        heard = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

TEST(debugger_destination, gets_each_line)
{
    logging::configurator::default_configurator().configure(L"level=500; debugger");
    EXPECT_EQ(logging::log_manager::enabled_.load(), 500U);
    void* const handler = ::AddVectoredExceptionHandler(1, listen);
    LOG_LINE(logging::wpx_log(), 500, "for the debugger");
    ::RemoveVectoredExceptionHandler(handler);
    logging::configurator::default_configurator().configure({});
    EXPECT_EQ(heard.substr(0, 8), "500 wpx ");
    EXPECT_TRUE(heard.ends_with(" for the debugger\n")) << heard;
}

} // namespace
