#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// The texts that end up in a user's mail, by their resource number. Used on the thread that delivers events.
class StringResources
{
public:
    static constexpr std::uint32_t ModifiedSubject = 660;
    static constexpr std::uint32_t BodyLabel = 661;
    static constexpr std::uint32_t SubjectLabel = 662;

    /// The text of a resource; empty when it can't be loaded.
    [[nodiscard]] virtual std::wstring Load(std::uint32_t id) const = 0;
    virtual ~StringResources() = default;
};

/// The English texts that are built in.
std::shared_ptr<const StringResources> EnglishTexts();
