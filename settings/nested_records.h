#pragma once

#include "settings/field.h"

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

/// The records within lists and settings of the product's record. The add-in carries and compares them; the product
/// defines the meaning of their numbers.
namespace DOVA::Settings {

struct Action
{
    std::int32_t ActionType = 0;

    static constexpr auto Fields() { return std::tuple(Field{1, L"ActionType", 0, &Action::ActionType}); }
};

struct ActionsOnCertainty
{
    std::int32_t DetectCertainty = 0;
    Settings::Action Action;

    static constexpr auto Fields()
    {
        return std::tuple(Field{1, L"DetectCertainty", 0, &ActionsOnCertainty::DetectCertainty},
                          Field{2, L"Action", 0, &ActionsOnCertainty::Action});
    }
};

struct ActionsOnVerdict
{
    std::int32_t Verdict = 0;
    std::vector<ActionsOnCertainty> Actions;

    static constexpr auto Fields()
    {
        return std::tuple(Field{1, L"Verdict", 0, &ActionsOnVerdict::Verdict},
                          Field{2, L"Actions", 0, &ActionsOnVerdict::Actions});
    }
};

struct ContentCategory
{
    bool Allowed = false;
    std::int32_t CategoryType = 0;
    std::wstring Name;
    std::wstring Description;

    static constexpr auto Fields()
    {
        return std::tuple(Field{1, L"Allowed", 0, &ContentCategory::Allowed},
                          Field{2, L"CategoryType", 0, &ContentCategory::CategoryType},
                          Field{3, L"Name", 0, &ContentCategory::Name},
                          Field{4, L"Description", 0, &ContentCategory::Description});
    }
};

struct SearchPattern
{
    bool Enable = false;
    std::int32_t Mode = 0;
    std::wstring Pattern;
    std::wstring Description;

    static constexpr auto Fields()
    {
        return std::tuple(Field{1, L"Enable", 0, &SearchPattern::Enable}, Field{2, L"Mode", 0, &SearchPattern::Mode},
                          Field{3, L"Pattern", 0, &SearchPattern::Pattern},
                          Field{4, L"Description", 0, &SearchPattern::Description});
    }
};

struct UrlRule
{
    bool Enable = false;
    std::int32_t Type = 0;
    std::wstring UrlPattern;
    std::wstring Name;

    static constexpr auto Fields()
    {
        return std::tuple(Field{1, L"Enable", 0, &UrlRule::Enable}, Field{2, L"Type", 0, &UrlRule::Type},
                          Field{3, L"UrlPattern", 0, &UrlRule::UrlPattern}, Field{4, L"Name", 0, &UrlRule::Name});
    }
};

} // namespace DOVA::Settings
