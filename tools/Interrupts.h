// Interrupts (SIGINT, SIGTERM, SIGHUP): cancelling the running transfer, or undoing the tool's temporary work.
#ifndef ANADATA_TOOLS_INTERRUPTS_H
#define ANADATA_TOOLS_INTERRUPTS_H

#include <functional>

namespace tool {

// Blocks the three signals in the calling thread, and so in every thread started after it, and
// starts a thread that waits for them. While a CancelOnInterrupt lives, the first signal only
// marks the process interrupted, so the transfer's progress callback can cancel it and the
// library can remove what it staged. Otherwise, and at a second signal, that thread runs the
// registered undo actions (newest first) and ends the process with status 128 + the signal
// number; the actions run in a normal thread, so they may remove files and restore the
// terminal. Call once, first thing in main().
void catchInterrupts();

// True once a signal has come while a transfer could be cancelled.
bool interrupted();

// 128 + the signal that interrupted the process; 130 (Ctrl-C) when none did.
int interruptStatus();

// Marks a cancellable transfer for as long as it lives (see catchInterrupts).
class CancelOnInterrupt {
public:
    CancelOnInterrupt();
    ~CancelOnInterrupt();
    CancelOnInterrupt(const CancelOnInterrupt&) = delete;
    CancelOnInterrupt& operator=(const CancelOnInterrupt&) = delete;
};

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
