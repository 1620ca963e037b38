// The signal-waiting thread and the registry of undo actions.
#include "Interrupts.h"

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
        if (sigwait(&set, &signal) != 0) return;
        std::lock_guard<std::recursive_mutex> lock(registryMutex);  // held until the process ends
        auto& actions = registry();
        for (auto it = actions.rbegin(); it != actions.rend(); ++it) it->second();
        _exit(128 + signal);
    }).detach();
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
