#include "outlook/qdmailprotect/com/application_event_sink.h"

#include "outlook/qdmailprotect/com/outlook_events.h"

#include <utility>

namespace {

constexpr SinkEntry ApplicationSinkMap[] = {
    {DispIdNewMail, VT_BSTR},
    {DispIdItemLoad, VT_DISPATCH},
};

} // namespace

ApplicationEventSink::ApplicationEventSink(ComPtr<MailEvents> events)
    : EventSink(IID_ApplicationEvents, ApplicationSinkMap, "an application event")
    , events_(std::move(events))
{}

void ApplicationEventSink::Handle(DISPID event, const VARIANT* argument)
{
    switch (event) {
    case DispIdNewMail:
        events_->OnNewMail();
        break;
    case DispIdItemLoad:
        events_->OnItemLoad(argument->pdispVal);
        break;
    default:
        break;
    }
}
