#include "outlook/qdmailprotect/disinfection/subject_marking.h"

#include "outlook/qdmailprotect/access/properties.h"

void MarkSubject(IMessage* message, const StringResources& texts)
{
    const std::wstring text = texts.Load(StringResources::ModifiedSubject);
    if (!text.empty()) {
        SetPropWideString(message, PR_SUBJECT_W, text);
    }
}
