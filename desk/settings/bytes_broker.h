#pragma once

#include "outlook/qdmailprotect/link/settings_broker.h"

#include <functional>

/// A broker whose bytes come from a function. The function is called on each load, possibly on several threads at once.
class BytesBroker final : public SettingsBroker
{
public:
    /// An exception thrown by `source` makes that load fail.
    explicit BytesBroker(std::function<Bytes()> source);

    [[nodiscard]] std::unique_ptr<Visit> Begin() override;

private:
    std::function<Bytes()> source_;
};
