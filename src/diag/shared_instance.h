// A process-wide object made on its first reference and destroyed on its last, and the handle
// through which code holds references on it. The object registry and the log binding use it.
//
// Contract:
// - SharedInstanceHolder<T> is the global state: the instance pointer, a reference count, a
//   second count that is cleared but never raised here (only tests raise it, through
//   diag/testing/shared_instance_peer.h), and a spin flag. It is constant-initialised and has no
//   destructor, so a constinit global is ready before any dynamic initialiser runs: static objects
//   of other files take references at load.
// - The number of holders is the sum of both counts. A reference taken while it is 0 destroys an
//   instance left over and makes a new T; the drop that brings it to 0 destroys the instance.
//   T's constructor and destructor run under the spin flag and must not use the same holder.
// - SharedRef counts the references it took; Release (and the destructor) gives all of them back.
// - Threads: all of it is thread-safe. The spin flag is taken by atomic exchange and held only
//   for the counts, the pointer and the making or destroying of the instance; a thread that finds
//   it taken sleeps 1 ms and tries again. Holders() is one relaxed load, for fast checks.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace diag_testing {
class SharedInstancePeer;
}

namespace diag {

template <class T>
class SharedInstanceHolder {
public:
    constexpr SharedInstanceHolder() noexcept = default;
    SharedInstanceHolder(const SharedInstanceHolder&) = delete;
    SharedInstanceHolder& operator=(const SharedInstanceHolder&) = delete;

    // Takes one reference and returns the instance (null while the second count alone holds).
    // An exception from T's constructor leaves the counts as they were.
    T* AddReference() {
        Lock();
        T* instance = m_instance.load(std::memory_order_relaxed);
        if (m_count.load(std::memory_order_relaxed) == 0 &&
            m_secondCount.load(std::memory_order_relaxed) == 0) {
            if (instance != nullptr) {
                m_instance.store(nullptr, std::memory_order_relaxed);
                delete instance;
            }
            try {
                instance = new T();
            } catch (...) {
                Unlock();
                throw;
            }
            m_instance.store(instance, std::memory_order_release);
        }
        m_count.fetch_add(1, std::memory_order_relaxed);
        PublishHolders();
        Unlock();
        return instance;
    }

    // Gives back one reference; destroys the instance when no holder is left.
    void DropReference() noexcept {
        Lock();
        if (m_count.load(std::memory_order_relaxed) > 0) {
            m_count.fetch_sub(1, std::memory_order_relaxed);
        } else if (m_secondCount.load(std::memory_order_relaxed) > 0) {
            m_secondCount.store(0, std::memory_order_relaxed);
        }
        T* instance = m_instance.load(std::memory_order_relaxed);
        if (instance != nullptr && m_count.load(std::memory_order_relaxed) == 0 &&
            m_secondCount.load(std::memory_order_relaxed) == 0) {
            m_instance.store(nullptr, std::memory_order_relaxed);
            delete instance;
        }
        PublishHolders();
        Unlock();
    }

    std::int32_t Holders() const noexcept { return m_holders.load(std::memory_order_relaxed); }
    T* Instance() const noexcept { return m_instance.load(std::memory_order_acquire); }
    std::int32_t Count() const noexcept { return m_count.load(std::memory_order_relaxed); }
    std::int32_t SecondCount() const noexcept {
        return m_secondCount.load(std::memory_order_relaxed);
    }

private:
    friend class diag_testing::SharedInstancePeer;

    void Lock() noexcept {
        while (m_spin.exchange(1, std::memory_order_acquire) == 1) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    void Unlock() noexcept { m_spin.exchange(0, std::memory_order_release); }
    void PublishHolders() noexcept {
        m_holders.store(m_count.load(std::memory_order_relaxed) +
                            m_secondCount.load(std::memory_order_relaxed),
                        std::memory_order_relaxed);
    }

    std::atomic<T*> m_instance{nullptr};
    std::atomic<std::int32_t> m_count{0};
    std::atomic<std::int32_t> m_secondCount{0};
    // The sum of both counts, kept beside them so that a check costs a single load.
    std::atomic<std::int32_t> m_holders{0};
    std::atomic<std::uint32_t> m_spin{0};
};

template <class T, SharedInstanceHolder<T>& Holder>
class SharedRef {
public:
    constexpr SharedRef() noexcept = default;
    SharedRef(const SharedRef&) = delete;
    SharedRef& operator=(const SharedRef&) = delete;
    ~SharedRef() { Release(); }

    T* Acquire() {
        T* instance = Holder.AddReference();
        m_instance = instance;
        m_count.fetch_add(1, std::memory_order_relaxed);
        return instance;
    }

    // Gives back every reference this handle took, one at a time.
    void Release() noexcept {
        m_instance = nullptr;
        while (m_count.fetch_sub(1, std::memory_order_acq_rel) - 1 >= 0) {
            Holder.DropReference();
        }
        m_count.fetch_add(1, std::memory_order_relaxed);
    }

    T* get() const noexcept { return m_instance; }
    T* operator->() const noexcept { return m_instance; }
    explicit operator bool() const noexcept { return m_instance != nullptr; }
    std::int32_t References() const noexcept { return m_count.load(std::memory_order_relaxed); }

private:
    T* m_instance = nullptr;
    std::atomic<std::int32_t> m_count{0};
};

} // namespace diag
