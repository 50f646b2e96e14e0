#include "cctool/error.h"

#include "tool/system/conversions.h"

#include <utility>

namespace cctool {

namespace {

constexpr const char* no_context = "Unspecified error without context.";
constexpr const char* no_name = "Error";

const char* NameOf(const ErrorContext& context) noexcept
{
    return context.name != nullptr ? context.name : no_name;
}

std::string TextOf(const ErrorContext& context)
{
    std::string text = NameOf(context);
    text += " occured at ";
    text += context.file != nullptr ? context.file : "";
    text += '(' + std::to_string(context.line) + "). Subsystem: 0x" + winapi::to_hex(context.subsystem) + ". Code: 0x" +
            winapi::to_hex(context.code);
    if (!context.description.empty()) {
        text += ". Description: " + context.description;
    }
    return text + '.';
}

} // namespace

ErrorContext::ErrorContext(const char* class_name, std::string what_happened, const ErrorSource& source,
                           boost::intrusive_ptr<const ErrorContext> wrapped)
    : name(class_name)
    , subsystem(source.subsystem)
    , code(source.code)
    , description(std::move(what_happened))
    , file(source.file)
    , line(source.line)
    , next(std::move(wrapped))
{}

ErrorContext::~ErrorContext() = default;

void intrusive_ptr_add_ref(const ErrorContext* context) noexcept
{
    context->references.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(const ErrorContext* context) noexcept
{
    if (context->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        const std::unique_ptr<const ErrorContext> last(context);
    }
}

Error::Error(const char* name, std::string description, const ErrorSource& source, const Error* wrapped)
    : context_(std::make_unique<const ErrorContext>(name, std::move(description), source,
                                                    wrapped != nullptr ? wrapped->context_ : nullptr)
                   .release())
{}

Error::~Error() = default;

const char* Error::what() const noexcept
{
    if (context_ == nullptr) {
        return no_context;
    }
    try {
        if (text_ == nullptr) {
            text_ = std::make_shared<const std::string>(TextOf(*context_));
        }
        return text_->c_str();
    } catch (const std::exception&) {
        return NameOf(*context_);
    }
}

std::string Error::FullText() const
{
    if (context_ == nullptr) {
        return no_context;
    }
    std::string text = TextOf(*context_);
    for (const ErrorContext* context = context_->next.get(); context != nullptr; context = context->next.get()) {
        text += "\n\t" + TextOf(*context);
    }
    return text;
}

std::string Error::CompactText() const
{
    std::string text = "B";
    for (const ErrorContext* context = context_.get(); context != nullptr; context = context->next.get()) {
        text += winapi::to_hex(context->subsystem) + 'X' + winapi::to_hex(context->code) + 'X';
    }
    return text;
}

} // namespace cctool
