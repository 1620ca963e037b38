// Asking the user for a secret.
#ifndef ANADATA_TOOLS_TERMINAL_H
#define ANADATA_TOOLS_TERMINAL_H

#include <string>

namespace tool {

// Reads one line: from the terminal without echo, after writing the prompt on standard error,
// when standard input is one; else from standard input as it comes (for scripts, no prompt). A
// trailing carriage return is dropped. Throws ToolError (exitUsage) with `missing` and "(end of
// input)" at end of input.
std::string readSecret(const std::string& prompt, const std::string& missing);

}  // namespace tool

#endif
