#pragma once

#include "outlook/qdmailprotect/disinfection/message_disinfector.h"
#include "outlook/qdmailprotect/disinfection/string_resources.h"

#include <memory>

/// Creates the disinfector that modifies real messages. If `texts` is null, the built-in English texts are used.
std::shared_ptr<MessageDisinfector> MakeMailDisinfector(std::shared_ptr<const StringResources> texts = nullptr);
