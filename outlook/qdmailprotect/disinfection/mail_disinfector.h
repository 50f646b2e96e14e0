#pragma once

#include "outlook/qdmailprotect/disinfection/message_disinfector.h"
#include "outlook/qdmailprotect/disinfection/string_resources.h"

#include <memory>

/// The disinfector that changes real messages. `texts` null: the English texts that are built in.
std::shared_ptr<MessageDisinfector> MakeMailDisinfector(std::shared_ptr<const StringResources> texts = nullptr);
