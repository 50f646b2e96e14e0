#include "outlook/qdmailprotect/disinfection/string_resources.h"

namespace {

class English final : public StringResources
{
public:
    [[nodiscard]] std::wstring Load(std::uint32_t id) const override
    {
        switch (id) {
        case ModifiedSubject:
            return L"[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.";
        case BodyLabel:
            return L"Body:";
        case SubjectLabel:
            return L"Subject:";
        default:
            return {};
        }
    }
};

} // namespace

std::shared_ptr<const StringResources> EnglishTexts()
{
    return std::make_shared<const English>();
}
