#pragma once

#include "mail/msg/gsf_ptr.h"
#include "store/bytes.h"

#include <gsf/gsf-input.h>
#include <memory>
#include <mutex>

namespace host::msg {

/// A libgsf input that reads shared bytes. Its duplicates read the same bytes, so that a file is opened once.
gsf_ptr<GsfInput> make_gsf_input(const bytes_ptr& source);

/// The bytes of a libgsf input, read when asked for. `lock` is held whenever the library is called: its inputs of one
/// file share counters.
bytes_ptr bytes_of_input(gsf_ptr<GsfInput> input, std::shared_ptr<std::mutex> lock);

} // namespace host::msg
