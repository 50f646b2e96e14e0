#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Replaces the whole subject by the text that reports the change. If that text is empty, the subject is unchanged.
void MarkSubject(IMessage* message, const StringResources& texts);
