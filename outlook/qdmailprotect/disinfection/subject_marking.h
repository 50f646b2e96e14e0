#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Replaces the whole subject by the text that tells of the change. Without such a text the subject stays.
void MarkSubject(IMessage* message, const StringResources& texts);
