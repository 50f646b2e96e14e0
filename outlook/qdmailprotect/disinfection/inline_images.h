#pragma once

#include "outlook/qdmailprotect/results/check_results.h"

#include <string>
#include <vector>

/// Lifts the `data:` images out of `html`, which then refers to them by `cid:`. Appends one record a match to `images`,
/// in the order of the matches: first the attribute form in lower case, then that in upper case, then the first match
/// of the style form. A match without a MIME type of at most 50 characters or base64 text of at most 1 MiB is left as
/// it is; its record has no name and no data, and its sequence number is used up.
///
/// Takes time in proportion to the text. Base64 text that isn't raises boost::archive::iterators::dataflow_exception;
/// then `html` and `images` are left at some point of the work.
void ExtractInlineImages(std::string& html, std::vector<AttachmentResult>& images);
