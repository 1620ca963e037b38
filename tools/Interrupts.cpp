// The signal-waiting thread, the interrupted mark and the registry of undo actions.
#include "Interrupts.h"

#include <atomic>
#include <csignal>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>

#include <unistd.h>

namespace tool {

namespace {

std::recursive_mutex registryMutex;
std::map<unsigned long, std::function<void()>>& registry() {
    static auto* actions = new std::map<unsigned long, std::function<void()>>;  // outlives exit()
    return *actions;
}
unsigned long nextId = 1;
int cancellable = 0;  // live CancelOnInterrupt guards, under registryMutex
std::atomic<int> interruptSignal{0};

sigset_t interruptSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

}  // namespace

void catchInterrupts() {
    sigset_t set = interruptSignals();
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) return;
    std::thread([set] {
        int signal = 0;
        for (;;) {
            if (sigwait(&set, &signal) != 0) return;
            std::lock_guard<std::recursive_mutex> lock(registryMutex);
            // A transfer stops at its next block; a second signal does not wait for that.
            if (cancellable > 0 && interruptSignal == 0) {
                interruptSignal = signal;
                continue;
            }
            break;
        }
        std::lock_guard<std::recursive_mutex> lock(registryMutex);  // held until the process ends
        auto& actions = registry();
        for (auto it = actions.rbegin(); it != actions.rend(); ++it) it->second();
        _exit(128 + signal);
    }).detach();
}

bool interrupted() {
    return interruptSignal != 0;
}

int interruptStatus() {
    const int signal = interruptSignal;
    return 128 + (signal != 0 ? signal : SIGINT);
}

CancelOnInterrupt::CancelOnInterrupt() {
    std::lock_guard<std::recursive_mutex> lock(registryMutex);
    ++cancellable;
}

CancelOnInterrupt::~CancelOnInterrupt() {
    std::lock_guard<std::recursive_mutex> lock(registryMutex);
    --cancellable;
}

InterruptsHeld::InterruptsHeld() {
    registryMutex.lock();
}

InterruptsHeld::~InterruptsHeld() {
    registryMutex.unlock();
}

UndoOnInterrupt::UndoOnInterrupt(std::function<void()> action) {
    std::lock_guard<std::recursive_mutex> lock(registryMutex);
    id_ = nextId++;
    registry()[id_] = std::move(action);
}

UndoOnInterrupt::~UndoOnInterrupt() {
    std::lock_guard<std::recursive_mutex> lock(registryMutex);
    registry().erase(id_);
}

}  // namespace tool
