#pragma once

#include "tool/asyncio/event.h"

#include <platform/native_handle.h>

namespace tpl {

class event::impl
{
public:
    impl();
    impl(const impl&) = delete;
    impl& operator=(const impl&) = delete;
    ~impl();

    const HANDLE handle;
};

} // namespace tpl
