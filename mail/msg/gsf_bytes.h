#pragma once

#include "mail/msg/gsf_ptr.h"
#include "store/bytes.h"

#include <gsf/gsf-input.h>
#include <memory>
#include <mutex>

namespace host::msg {

/// Creates a libgsf input that reads shared bytes. Its duplicates read the same bytes, so that a file is opened once.
gsf_ptr<GsfInput> make_gsf_input(const bytes_ptr& source);

/// Returns the bytes of a libgsf input, which are read on demand. `lock` is held during each call of the library,
/// because its inputs of one file share counters.
bytes_ptr bytes_of_input(gsf_ptr<GsfInput> input, std::shared_ptr<std::mutex> lock);

} // namespace host::msg
