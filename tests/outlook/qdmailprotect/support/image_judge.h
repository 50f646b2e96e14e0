#pragma once

#include "outlook/qdmailprotect/results/check_results.h"

#include <string>
#include <vector>

/// A plain version of the image conversion, which changes the text step by step: the judge of the fast one.
namespace test {

/// What ExtractInlineImages does, with one change of the text for each image.
void judge_inline_images(std::string& html, std::vector<AttachmentResult>& images);

} // namespace test
