#pragma once

#include <memory>

namespace CLI {
class FormatterBase;
}

namespace command {

/// Returns the layout of `--help` for all commands: lines of at most 80 columns, "--port N [0]" for an option with its
/// default. Paragraphs of the footer are wrapped; its lines that begin with a blank remain as they are.
[[nodiscard]] std::shared_ptr<CLI::FormatterBase> help_layout();

} // namespace command
