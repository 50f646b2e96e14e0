#include "host/mime/mime_library.h"

#include <gmime/gmime.h>

#include <mutex>

namespace host {

void prepare_mime_library()
{
    static std::once_flag once;
    std::call_once(once, g_mime_init);
}

} // namespace host
