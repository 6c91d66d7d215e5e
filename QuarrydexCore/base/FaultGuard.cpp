#include "QuarrydexCore/base/FaultGuard.h"

#include "QuarrydexCore/base/Mapping.h"
#include "QuarrydexCore/base/Mutex.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <mutex>

#include <unistd.h>

namespace quarrydex {

/// A range, or a free slot: then `begin` is beyond every address. `begin` is written last when a
/// range begins and first when it ends, so that the handler never joins halves of two ranges.
struct FaultGuard::Slot {
    static constexpr std::uintptr_t nowhere = UINTPTR_MAX;

    std::atomic<std::uintptr_t> begin{nowhere};
    std::atomic<std::uintptr_t> end{0};
    std::atomic<bool> wasHit{false};
    bool isTaken = false; ///< under slotsLock
    Slot* next = nullptr; ///< fixed once the slot is in the list
};

namespace {

using Slot = FaultGuard::Slot;

std::atomic<Slot*> slots = nullptr;
Mutex slotsLock;

struct sigaction previousAction; // NOLINT(readability-identifier-naming): set once, then read only

std::uintptr_t pageSize() {
    static const auto size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

/// Puts zeros from the address's page to the end of the guarded range it lies in.
bool cover(std::uintptr_t address) {
    for (Slot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
        if (address < slot->begin.load(std::memory_order_acquire))
            continue;
        const std::uintptr_t end = slot->end.load(std::memory_order_acquire);
        if (address >= end)
            continue;
        slot->wasHit.store(true, std::memory_order_release);
        const std::uintptr_t page = address / pageSize() * pageSize();
        // NOLINTNEXTLINE(performance-no-int-to-ptr): slots hold addresses as atomic numbers
        return mapZerosOver(reinterpret_cast<void*>(page), end - page);
    }
    return false;
}

void onBusError(int signal, siginfo_t* info, void* context) {
    const bool isFault = info->si_code > 0; // else somebody sent the signal
    const int error = errno;
    const bool isCovered = isFault && cover(reinterpret_cast<std::uintptr_t>(info->si_addr));
    errno = error;
    if (isCovered)
        return;
    if ((previousAction.sa_flags & SA_SIGINFO) != 0) {
        previousAction.sa_sigaction(signal, info, context);
    } else if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN) {
        previousAction.sa_handler(signal);
    } else {
        ::sigaction(SIGBUS, &previousAction, nullptr); // the access is tried again
        if (!isFault)
            ::raise(signal);
    }
}

void installHandler() {
    static std::once_flag installed;
    std::call_once(installed, [] {
        static_cast<void>(pageSize());
        struct sigaction action {};
        action.sa_sigaction = onBusError;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGBUS, &action, &previousAction);
    });
}

Slot* takeSlot() {
    const MutexLock held(slotsLock);
    for (Slot* slot = slots.load(std::memory_order_relaxed); slot != nullptr; slot = slot->next) {
        if (slot->isTaken)
            continue;
        slot->isTaken = true;
        slot->wasHit.store(false, std::memory_order_relaxed);
        return slot;
    }
    auto* slot = new Slot;
    slot->isTaken = true;
    slot->next = slots.load(std::memory_order_relaxed);
    slots.store(slot, std::memory_order_release);
    return slot;
}

} // namespace

FaultGuard::~FaultGuard() {
    if (slot_ == nullptr)
        return;
    slot_->begin.store(Slot::nowhere, std::memory_order_release);
    const MutexLock held(slotsLock);
    slot_->isTaken = false;
}

void FaultGuard::watch(void* begin, std::size_t bytes) {
    installHandler();
    if (slot_ == nullptr)
        slot_ = takeSlot();
    const auto first = reinterpret_cast<std::uintptr_t>(begin);
    if (slot_->begin.load(std::memory_order_relaxed) != first) // else it stays guarded throughout
        slot_->begin.store(Slot::nowhere, std::memory_order_release);
    const std::uintptr_t pages = (bytes + pageSize() - 1) / pageSize() * pageSize();
    slot_->end.store(first + pages, std::memory_order_release);
    slot_->begin.store(first, std::memory_order_release);
}

bool FaultGuard::wasHit() const {
    return slot_ != nullptr && slot_->wasHit.load(std::memory_order_acquire);
}

} // namespace quarrydex
