#pragma once

#include "outlook/qdmailprotect/results/check_results.h"

#include <string>
#include <vector>

/// A plain version of the image conversion, which modifies the text step by step. The fast version is compared with it.
namespace test {

/// Does the same as ExtractInlineImages, with one modification of the text per image.
void judge_inline_images(std::string& html, std::vector<AttachmentResult>& images);

} // namespace test
