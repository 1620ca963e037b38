// Reading a secret without echo.
#include "Terminal.h"

#include <iostream>
#include <memory>

#include <termios.h>
#include <unistd.h>

#include "Interrupts.h"
#include "ToolError.h"

namespace tool {

std::string readSecret(const std::string& prompt, const std::string& missing) {
    // Scripts that pipe the secret in get no prompt, so their standard error stays clean.
    const bool terminal = isatty(0) == 1;
    if (terminal) std::cerr << prompt << std::flush;
    termios saved{};
    bool echoOff = false;
    std::unique_ptr<UndoOnInterrupt> undo;
    if (terminal && tcgetattr(0, &saved) == 0) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        echoOff = tcsetattr(0, TCSAFLUSH, &quiet) == 0;
        if (echoOff) undo = std::make_unique<UndoOnInterrupt>([saved] { tcsetattr(0, TCSAFLUSH, &saved); });
    }
    std::string line;
    const bool got = static_cast<bool>(std::getline(std::cin, line));
    if (echoOff) {
        tcsetattr(0, TCSAFLUSH, &saved);
        std::cerr << '\n';
    }
    if (!got) throw ToolError(exitUsage, missing + " (end of input)");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

}  // namespace tool
