#pragma once

#include "host/opening/opening.h"
#include "host/outlook/application.h"
#include "host/outlook/check_outcome.h"
#include "host/outlook/items.h"

namespace host {

/// Opens messages as the mail client does: each becomes an item whose events the add-ins hear, from item load to
/// unload, on the calling thread.
class outlook_client final : public message_opener
{
public:
    /// `outcome` hears the trace of the add-in.
    outlook_client(ComPtr<application> client, check_outcome& outcome);

    opening open(const std::shared_ptr<message_record>& stored) override;

private:
    ComPtr<application> client_;
    check_outcome& outcome_;
};

} // namespace host
