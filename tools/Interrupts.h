// Undoing the tool's temporary work when it is interrupted (SIGINT, SIGTERM, SIGHUP).
#ifndef ANADATA_TOOLS_INTERRUPTS_H
#define ANADATA_TOOLS_INTERRUPTS_H

#include <functional>

namespace tool {

// Blocks the three signals in the calling thread, and so in every thread started after it, and
// starts a thread that waits for them. When one arrives, that thread runs the registered undo
// actions (newest first) and ends the process with status 128 + the signal number. A transfer
// inside the library cannot be stopped any other way; the actions run in a normal thread, so
// they may remove directories and restore the terminal. Call once, first thing in main().
void catchInterrupts();

// Holds back the undo actions while alive: create a temporary file and register its removal
// under one of these, so an interruption in between cannot leave the file behind.
class InterruptsHeld {
public:
    InterruptsHeld();
    ~InterruptsHeld();
    InterruptsHeld(const InterruptsHeld&) = delete;
    InterruptsHeld& operator=(const InterruptsHeld&) = delete;
};

// Registers an undo action for as long as the guard lives.
class UndoOnInterrupt {
public:
    explicit UndoOnInterrupt(std::function<void()> action);
    ~UndoOnInterrupt();
    UndoOnInterrupt(const UndoOnInterrupt&) = delete;
    UndoOnInterrupt& operator=(const UndoOnInterrupt&) = delete;

private:
    unsigned long id_;
};

}  // namespace tool

#endif
