#pragma once

#include "outlook/qdmailprotect/results/check_results.h"

#include <cstddef>
#include <string>
#include <vector>

/// Plain versions of the image conversion and its decoder, which modify the text step by step. The fast versions are
/// compared with them.
namespace test {

/// Decodes base64 text with the library's iterators.
std::vector<std::byte> judge_base64(std::string text);

/// Does the same as ExtractInlineImages, with one modification of the text per image.
void judge_inline_images(std::string& html, std::vector<AttachmentResult>& images);

} // namespace test
