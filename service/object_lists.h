#pragma once

#include "service/cause.h"
#include "service/wildcard.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

class request_reader;

/// Patterns in the form of `wildcard`.
struct list_options
{
    std::vector<std::string> ignored_threats;
    std::vector<std::string> forbidden_names; ///< of attachments and other files
    std::vector<std::string> forbidden_types; ///< MIME types
};

/// What the lists look at. Values come from outside.
struct listed_object
{
    std::string name; ///< empty if the object has none
    std::string type; ///< as specified in the request; empty if the object has none
};

/// Returns name and type of a request's object. A mail's body has neither, because the client specifies a type for it
/// that is not its own; nor has a request without a body.
[[nodiscard]] listed_object listed_object_of(request_reader& reader);

/// The lists of the administrator. Not modified after construction, so thread-safe.
class object_lists
{
public:
    /// Throws std::invalid_argument if a pattern is not valid.
    explicit object_lists(const list_options& options);

    /// Returns why the object is withheld whatever an engine says; nullopt if it is not.
    [[nodiscard]] std::optional<cause> forbid(const listed_object& object) const;
    /// Returns true if an object with this threat counts as clean.
    [[nodiscard]] bool ignores(std::string_view threat) const;

private:
    std::vector<wildcard> ignored_threats_;
    std::vector<wildcard> forbidden_names_;
    std::vector<wildcard> forbidden_types_;
};

} // namespace service
