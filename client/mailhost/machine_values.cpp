#include "client/mailhost/machine_values.h"

#include <algorithm>
#include <string>
#include <utility>

namespace host {

machine_values::machine_values()
{
    change_journal::restore_abandoned();
}

machine_values::~machine_values()
{
    std::for_each(changes_.rbegin(), changes_.rend(), restore);
}

void machine_values::set(const registry_value& wanted)
{
    if (!journal_) {
        journal_.emplace();
    }
    registry_change change = change_of(wanted.key, wanted.name);
    journal_->add(change);
    changes_.push_back(std::move(change));
    if (const auto* number = std::get_if<std::uint32_t>(&wanted.value)) {
        const DWORD value = *number;
        write_value(wanted.key, wanted.name, REG_DWORD, &value, sizeof value);
    } else {
        write_text(wanted.key, wanted.name, std::get<std::wstring>(wanted.value));
    }
}

} // namespace host
