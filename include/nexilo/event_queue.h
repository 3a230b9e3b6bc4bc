// The host's timed work queue ("GlobalEventQueue" of hostcore.dll) and the work items it runs.
//
// Contract of IEventQueue (results are 0 or a Windows error number):
// - Each object made by the factory is a client handle on one scheduler shared by the process.
//   Initialise(n) asks for at least n worker threads; it may be called again, by any handle.
// - PostNow and PostTimed hand over two items: `run`, run for each firing, and `finished`, run
//   once when the work is complete (after the last run, or when canceled or closed). The queue
//   owns both items from the call on, also when the call fails, and frees each exactly once
//   through Release; a refused post frees them at once without running either. `finished` may be
//   null; a null `run` is refused (87). On success *id holds a non-zero id. A negative first delay
//   counts as 0; a period above 0 repeats the run at that period (never two runs of one id at
//   once), otherwise it runs once.
// - Cancel(id): no run starts any more; the work completes when a run under way has ended.
// - Wait(id, timeoutMs): returns 0 once the work is complete: no run is executing or will start,
//   `finished` has run, both items are released. 0xFFFFFFFF waits without limit; a time-out
//   gives 1460. Waiting for an id from inside its own run gives 1131 instead of a deadlock.
// - ReleaseId(id): forgets the id; the work itself goes on. An id stays known, complete or not,
//   until then.
// - Close(): refuses new work on this handle only (6 from then on) and cancels its pending work.
// - An id that the handle doesn't know gives 1168; the argument slots marked reserved take 0.
// Items run on the queue's worker threads; all operations may be called from any thread.
#pragma once

#include "nexilo/cv_base.h"

#include <cstdint>

inline constexpr CvIid kIidEventQueue{{0x2C9C916F, 0x9528C5AE, 0x950A4713, 0x521384D0}};
inline constexpr const wchar_t* kGlobalEventQueueName = L"GlobalEventQueue";
inline constexpr std::uint32_t kEqInfinite = 0xFFFFFFFF;

// A unit of work for the queue. The queue frees it through Release; slot 0 is there because MSVC
// puts a virtual destructor's one slot there (see cv_base.h).
class EqWorkItem {
public:
    // slot 0: ends the item's life; with kCvDeleteMemory also frees it. Returns the item.
    virtual void* ScalarDeletingDestructor(std::uint32_t flags) = 0;
    // slot 1: frees the item.
    virtual void Release() = 0;
    // slot 2
    virtual void Run() = 0;

protected:
    ~EqWorkItem() = default;
};

class IEventQueue : public ICvBaseInterface {
public:
    // slot 1
    virtual std::uint32_t Initialise(std::int32_t minimumWorkers) = 0;
    // slot 2
    virtual std::uint32_t Close() = 0;
    // slot 3
    virtual std::uint32_t PostNow(const wchar_t* name, std::uint32_t* id, EqWorkItem* run,
                                  EqWorkItem* finished, std::uint32_t reserved1,
                                  std::uint32_t reserved2) = 0;
    // slot 4
    virtual std::uint32_t PostTimed(const wchar_t* name, std::uint32_t* id,
                                    std::int32_t firstDelayMs, std::int32_t periodMs,
                                    EqWorkItem* run, EqWorkItem* finished, std::uint32_t reserved1,
                                    std::uint32_t reserved2) = 0;
    // slot 5: not used by this product.
    virtual std::uint32_t ReservedSlot5() = 0;
    // slot 6
    virtual std::uint32_t Wait(std::uint32_t id, std::uint32_t timeoutMs) = 0;
    // slot 7
    virtual std::uint32_t Cancel(std::uint32_t id) = 0;
    // slot 8
    virtual std::uint32_t ReleaseId(std::uint32_t id) = 0;

protected:
    ~IEventQueue() = default;
};
