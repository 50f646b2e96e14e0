#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace cctool {

/// The source location of an error, and its numbers.
struct ErrorSource
{
    const char* file; ///< text of static storage
    std::uint32_t line;
    std::uint32_t subsystem = 0;
    std::uint32_t code = 0;
};

/// The contents of an error. They are shared by the copies of the error and by the errors that wrap it, on any thread.
struct ErrorContext
{
    mutable std::atomic<std::uint32_t> references{0};
    const char* name; ///< class name, text of static storage; may be null
    std::uint32_t subsystem;
    std::uint32_t code;
    std::string description; ///< may be empty
    const char* file;
    std::uint32_t line;
    boost::intrusive_ptr<const ErrorContext> next; ///< the wrapped error; may be null

    ErrorContext(const char* class_name, std::string what_happened, const ErrorSource& source,
                 boost::intrusive_ptr<const ErrorContext> wrapped);
    ErrorContext(const ErrorContext&) = delete;
    ErrorContext& operator=(const ErrorContext&) = delete;
    ~ErrorContext();
};

void intrusive_ptr_add_ref(const ErrorContext* context) noexcept;
void intrusive_ptr_release(const ErrorContext* context) noexcept;

/// The base of this library's errors. Copies share the context and do not throw. One object must be used by one thread
/// at a time, because what() stores its text.
class Error : public std::exception
{
public:
    using ContextPtr = boost::intrusive_ptr<const ErrorContext>;

    /// Makes an error without context: its text is "Unspecified error without context.".
    Error() noexcept = default;
    /// `name` and `wrapped` may be null.
    Error(const char* name, std::string description, const ErrorSource& source, const Error* wrapped = nullptr);
    Error(const Error&) noexcept = default;
    Error& operator=(const Error&) noexcept = default;
    ~Error() override;

    /// Returns the text of this error alone: "NAME occured at FILE(LINE). Subsystem: 0xN. Code: 0xN. Description:
    /// TEXT.". It is built at the first call and kept. If memory is insufficient, the class name alone is returned.
    [[nodiscard]] const char* what() const noexcept override;
    /// Returns the text of this error and of each error that it wraps; the latter are on lines that begin with a tab.
    [[nodiscard]] virtual std::string FullText() const;
    /// Returns "B", then for each error "SUBSYSTEMXCODEX", in hexadecimal.
    [[nodiscard]] virtual std::string CompactText() const;

    /// Returns null for an error without context.
    [[nodiscard]] const ContextPtr& Context() const noexcept { return context_; }

private:
    ContextPtr context_;
    mutable std::shared_ptr<const std::string> text_;
};

} // namespace cctool
