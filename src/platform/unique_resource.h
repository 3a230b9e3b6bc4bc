// Owning wrappers for operating-system handles and scope guards.
//
// UniqueResource<Traits> owns one value of Traits::Type and closes it with Traits::Close when it
// is reset or destroyed. Traits supplies:
//   using Type = ...;                      // the raw handle type
//   static Type Invalid() noexcept;        // the value that owns nothing
//   static void Close(Type) noexcept;      // called only for values other than Invalid()
// Move-only, never converts implicitly to the raw type. Closing keeps the caller's last error
// (errno everywhere, GetLastError as well on Windows), so a failure code read after a wrapper
// went out of scope is still the one of the call that failed. Not thread-safe: one owner at a time.
//
// ScopeExit runs a callable when it leaves scope unless dismissed first; it keeps the last error
// in the same way.
#pragma once

#include "platform/build_config.h"

#include <cstdint>
#include <type_traits>
#include <utility>

namespace platform {

// Saves errno (and on Windows the thread's last error) on construction, restores them on
// destruction.
class LastErrorKeeper {
public:
    LastErrorKeeper() noexcept;
    ~LastErrorKeeper();
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    int m_errno;
#if defined(NEXILO_OS_WIN)
    std::uint32_t m_lastError;
#endif
};

template <class Traits>
class UniqueResource {
public:
    using Type = typename Traits::Type;

    UniqueResource() noexcept : m_value(Traits::Invalid()) {}
    explicit UniqueResource(Type value) noexcept : m_value(value) {}
    UniqueResource(UniqueResource&& other) noexcept : m_value(other.release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    UniqueResource(const UniqueResource&) = delete;
    UniqueResource& operator=(const UniqueResource&) = delete;
    ~UniqueResource() { reset(); }

    [[nodiscard]] Type get() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return m_value != Traits::Invalid(); }

    // Gives up ownership without closing.
    [[nodiscard]] Type release() noexcept { return std::exchange(m_value, Traits::Invalid()); }

    // Closes the current value (if any) and takes ownership of `value`.
    void reset(Type value = Traits::Invalid()) noexcept {
        Type old = std::exchange(m_value, value);
        if (old != Traits::Invalid()) {
            LastErrorKeeper keep;
            Traits::Close(old);
        }
    }

    // Closes the current value and returns the address of the empty slot, for APIs that hand
    // out a new handle through an out-parameter.
    [[nodiscard]] Type* put() noexcept {
        reset();
        return &m_value;
    }

    void swap(UniqueResource& other) noexcept { std::swap(m_value, other.m_value); }

private:
    Type m_value;
};

template <class F>
class ScopeExit {
public:
    explicit ScopeExit(F f) noexcept(std::is_nothrow_move_constructible_v<F>) : m_f(std::move(f)) {}
    ScopeExit(ScopeExit&& other) noexcept(std::is_nothrow_move_constructible_v<F>)
        : m_f(std::move(other.m_f)), m_armed(std::exchange(other.m_armed, false)) {}
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;
    ScopeExit& operator=(ScopeExit&&) = delete;
    ~ScopeExit() {
        if (m_armed) {
            LastErrorKeeper keep;
            m_f();
        }
    }

    void Dismiss() noexcept { m_armed = false; }

private:
    F m_f;
    bool m_armed = true;
};

template <class F>
[[nodiscard]] ScopeExit<F> MakeScopeExit(F f) {
    return ScopeExit<F>(std::move(f));
}

#if defined(NEXILO_OS_POSIX)
struct FdTraits {
    using Type = int;
    static constexpr int Invalid() noexcept { return -1; }
    static void Close(int fd) noexcept;
};
using UniqueFd = UniqueResource<FdTraits>;
#endif

#if defined(NEXILO_OS_WIN)
// HANDLE without <windows.h>. Windows APIs disagree on the failure value: most return null,
// the file APIs return INVALID_HANDLE_VALUE, so each gets its own wrapper (as WIL does).
struct HandleTraits {
    using Type = void*;
    static constexpr void* Invalid() noexcept { return nullptr; }
    static void Close(void* handle) noexcept;
};
using UniqueHandle = UniqueResource<HandleTraits>;

struct FileHandleTraits {
    using Type = void*;
    static void* Invalid() noexcept { return reinterpret_cast<void*>(std::intptr_t{-1}); }
    static void Close(void* handle) noexcept { HandleTraits::Close(handle); }
};
using UniqueFileHandle = UniqueResource<FileHandleTraits>;
#endif

} // namespace platform
