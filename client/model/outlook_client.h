#pragma once

#include "client/model/application.h"
#include "client/model/check_outcome.h"
#include "client/model/items.h"
#include "desk/run/opening.h"
#include "store/message_object.h"

#include <functional>
#include <optional>
#include <string>

namespace host {

/// Opens messages as the mail client does: each becomes an item whose events the add-ins hear, from item load to
/// unload, on the calling thread.
class outlook_client final : public message_opener
{
public:
    /// Gives what is inside an encrypted message; nothing, and why for people, when it cannot be had.
    using envelope_opener =
        std::function<std::optional<message_record>(const message_record& enveloped, std::string& why)>;

    /// `outcome` hears the trace of the add-in. Without an opener encrypted messages stay closed.
    outlook_client(ComPtr<application> client, check_outcome& outcome, envelope_opener open_envelope = {});

    opening open(const std::shared_ptr<message_record>& stored) override;

private:
    /// What the reader of a message gets to see: of an encrypted one its wrapper.
    [[nodiscard]] ComPtr<message_object> displayed(const message_record& stored, const ComPtr<message_object>& kept,
                                                   std::string& closed) const;

    ComPtr<application> client_;
    check_outcome& outcome_;
    envelope_opener open_envelope_;
};

} // namespace host
