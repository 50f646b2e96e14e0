#pragma once

#include "store/message_object.h"
#include "store/outlook_bases.h"

namespace host {

/// What the mail client makes of a message, by its class.
enum class item_kind
{
    mail,
    meeting,
    task
};

/// One opened item: answers the interface of its kind and gives the message behind it.
class item final : public OutlookItemBase
{
public:
    item(item_kind kind, ComPtr<message_object> message);

    [[nodiscard]] message_object& message() const noexcept { return *message_; }

protected:
    HRESULT MapiObject(IUnknown** object) override;

private:
    ComPtr<message_object> message_;
};

/// The kind of a message class: "IPM.Schedule.Meeting..." is a meeting, "IPM.Task..." a task, everything else mail.
item_kind kind_of_class(std::wstring_view message_class);

} // namespace host
