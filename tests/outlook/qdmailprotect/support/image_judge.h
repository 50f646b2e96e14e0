#pragma once

#include "outlook/qdmailprotect/results/check_results.h"

#include <cstddef>
#include <string>
#include <vector>

/// Plain versions of the image conversion and its decoder, which change the text step by step. They are the judges of
/// the fast ones.
namespace test {

/// Base64 text through the library's iterators.
std::vector<std::byte> judge_base64(std::string text);

/// What ExtractInlineImages does, with one change of the text for each image.
void judge_inline_images(std::string& html, std::vector<AttachmentResult>& images);

} // namespace test
