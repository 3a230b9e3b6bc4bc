// cv::ByValue<T>: a class argument passed by value through a table, the way MSVC passes it.
//
// Why: for an argument of class type with a destructor MSVC and GCC differ. On 32-bit x86 MSVC
// builds the object itself in the argument area of the stack, while GCC passes the address of a
// temporary; on x64 both pass the address of the caller's temporary. On both, MSVC's callee
// destroys the object and GCC's caller does. A table that names the class type itself is therefore
// called wrongly from one side. ByValue<T> is trivially copyable, so GCC passes exactly its bytes:
// on 32-bit x86 the object's own bytes, on x64 the address of the caller's object, which is what
// MSVC passes for T.
//
// Contract:
// - T is a one-pointer handle that owns what it points at (cv::StringW, cv::Value), so its bytes
//   may move to another address.
// - The callee owns the object: it calls Take() exactly once, which moves the object out and
//   destroys it where it lay. A ByValue nobody takes leaks the object.
// - A caller built with GCC passes cv::Pass(value): the holder keeps the object (on x64 the callee
//   destroys it in place) and destroys it only when it was never handed over. The holder is a
//   temporary of the calling expression, so it outlives the call.
#pragma once

#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace cv {

template <class T>
class ByValueHolder;

template <class T>
class ByValue {
    static_assert(sizeof(T) == sizeof(void*) && alignof(T) == alignof(void*),
                  "only one-pointer handles cross by value");

public:
    // Moves the object out and destroys it where the caller left it.
    T Take() noexcept(std::is_nothrow_move_constructible_v<T>) {
        T* object = Object();
        T taken(std::move(*object));
        object->~T();
        return taken;
    }

private:
    friend class ByValueHolder<T>;
    ByValue() = default;

#if defined(_WIN32) && (defined(_M_IX86) || defined(__i386__))
    // MSVC builds the object in the argument area itself.
    T* Object() noexcept {
        return std::launder(reinterpret_cast<T*>(m_bytes));
    }
    alignas(T) unsigned char m_bytes[sizeof(T)];
#else
    // The caller's temporary, by address.
    T* Object() noexcept {
        return m_object;
    }
    T* m_object;
#endif
};

// The caller's side: made by cv::Pass, turned into the argument by the call.
template <class T>
class ByValueHolder {
public:
    // The object made from `value`, in place: one move or copy, no temporary.
    template <class U>
    explicit ByValueHolder(U&& value) {
        new (m_storage) T(std::forward<U>(value));
    }
    ByValueHolder(const ByValueHolder&) = delete;
    ByValueHolder& operator=(const ByValueHolder&) = delete;
    ~ByValueHolder() {
        if (!m_handed) {
            Object()->~T();
        }
    }

    // Hands the object to the callee, once.
    operator ByValue<T>() && noexcept {
        m_handed = true;
        ByValue<T> argument;
#if defined(_WIN32) && (defined(_M_IX86) || defined(__i386__))
        // The handle's bytes move into the argument; the callee destroys them there.
        std::memcpy(argument.m_bytes, m_storage, sizeof(T));
#else
        argument.m_object = Object();
#endif
        return argument;
    }

private:
    T* Object() noexcept {
        return std::launder(reinterpret_cast<T*>(m_storage));
    }

    alignas(T) unsigned char m_storage[sizeof(T)];
    bool m_handed = false;
};

// The argument for a ByValue<T> parameter: `agent->SetLanguage(cv::Pass(cv::StringW(L"de")))`.
template <class T>
ByValueHolder<std::remove_cvref_t<T>> Pass(T&& value) {
    return ByValueHolder<std::remove_cvref_t<T>>(std::forward<T>(value));
}

} // namespace cv
