#pragma once

#include "outlook/qdmailprotect/results/check_results.h"

#include <string>
#include <vector>

/// Extracts the `data:` images from `html` and replaces them by `cid:` references. Appends one record per match to
/// `images`, in this order: the matches of the attribute form in lower case, those in upper case, then the first match
/// of the style form. A match without a MIME type of at most 50 characters or without base64 text of at most 1 MiB is
/// left unchanged; its record has no name and no data, and its sequence number is consumed.
///
/// Takes linear time. Throws boost::archive::iterators::dataflow_exception for invalid base64 text; `html` and `images`
/// are then in a partially converted state.
void ExtractInlineImages(std::string& html, std::vector<AttachmentResult>& images);
