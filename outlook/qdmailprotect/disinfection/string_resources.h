#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// The texts that are inserted into a user's mail, by resource number. Must be used on the thread that delivers events.
class StringResources
{
public:
    static constexpr std::uint32_t ModifiedSubject = 660;
    static constexpr std::uint32_t BodyLabel = 661;
    static constexpr std::uint32_t SubjectLabel = 662;

    /// Returns the text of a resource; empty if it cannot be loaded.
    [[nodiscard]] virtual std::wstring Load(std::uint32_t id) const = 0;
    virtual ~StringResources() = default;
};

/// Returns the built-in English texts.
std::shared_ptr<const StringResources> EnglishTexts();
