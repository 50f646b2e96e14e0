#include "service/rules.h"

#include "service/object_lists.h"
#include "service/policy.h"
#include "service/text_hash.h"

#include <string>
#include <vector>

namespace service {

namespace {

/// Appends the patterns such that different lists make different texts: no pattern contains a control character.
void append(std::string& text, const std::vector<std::string>& patterns)
{
    for (const std::string& pattern : patterns) {
        text.append(pattern).append("\n");
    }
    text.append("\t");
}

std::string text_of(const list_options& lists, const policies& policy)
{
    std::string text;
    append(text, lists.ignored_threats);
    append(text, lists.forbidden_names);
    append(text, lists.forbidden_types);
    text += policy.unreachable == treatment::block ? 'b' : 'p';
    text += policy.unchecked == treatment::block ? 'b' : 'p';
    return text;
}

} // namespace

std::uint64_t number_of_rules(const list_options& lists, const policies& policy)
{
    return text_hash(text_of(lists, policy)) ^ text_hash(text_of({}, {}));
}

} // namespace service
