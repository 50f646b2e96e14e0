#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace cctool {

/// Where an error was raised, and the numbers that it carries.
struct ErrorSource
{
    const char* file; ///< text of static storage
    std::uint32_t line;
    std::uint32_t subsystem = 0;
    std::uint32_t code = 0;
};

/// What an error knows. It is shared by the copies of the error and by the errors that wrap it, on any thread.
struct ErrorContext
{
    mutable std::atomic<std::uint32_t> references{0};
    const char* name; ///< class name, text of static storage; may be null
    std::uint32_t subsystem;
    std::uint32_t code;
    std::string description; ///< may be empty
    const char* file;
    std::uint32_t line;
    boost::intrusive_ptr<const ErrorContext> next; ///< the error that was wrapped; may be null

    ErrorContext(const char* class_name, std::string what_happened, const ErrorSource& source,
                 boost::intrusive_ptr<const ErrorContext> wrapped);
    ErrorContext(const ErrorContext&) = delete;
    ErrorContext& operator=(const ErrorContext&) = delete;
    ~ErrorContext();
};

void intrusive_ptr_add_ref(const ErrorContext* context) noexcept;
void intrusive_ptr_release(const ErrorContext* context) noexcept;

/// The base of this library's errors. Copies share the context and do not throw. One object is used by one thread at
/// a time, since what() keeps its text.
class Error : public std::exception
{
public:
    using ContextPtr = boost::intrusive_ptr<const ErrorContext>;

    /// An error without context: its text is "Unspecified error without context.".
    Error() noexcept = default;
    /// `name` and `wrapped` may be null.
    Error(const char* name, std::string description, const ErrorSource& source, const Error* wrapped = nullptr);
    Error(const Error&) noexcept = default;
    Error& operator=(const Error&) noexcept = default;
    ~Error() override;

    /// The text of this error alone: "NAME occured at FILE(LINE). Subsystem: 0xN. Code: 0xN. Description: TEXT.".
    /// It is built on first use and kept; if memory is short, the bare class name stands in for it.
    [[nodiscard]] const char* what() const noexcept override;
    /// The text of this error and of each one that it wraps, those on lines that open with a tab.
    [[nodiscard]] virtual std::string FullText() const;
    /// "B", then for each error "SUBSYSTEMXCODEX", in hexadecimal.
    [[nodiscard]] virtual std::string CompactText() const;

    /// Null for an error without context.
    [[nodiscard]] const ContextPtr& Context() const noexcept { return context_; }

private:
    ContextPtr context_;
    mutable std::shared_ptr<const std::string> text_;
};

} // namespace cctool
