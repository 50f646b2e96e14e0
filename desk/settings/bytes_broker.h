#pragma once

#include "outlook/qdmailprotect/link/settings_broker.h"

#include <functional>

/// A broker whose bytes come from a function that is called anew at each load, and from several threads at once.
class BytesBroker final : public SettingsBroker
{
public:
    /// What `source` raises is the failure of that load.
    explicit BytesBroker(std::function<Bytes()> source);

    [[nodiscard]] std::unique_ptr<Visit> Begin() override;

private:
    std::function<Bytes()> source_;
};
