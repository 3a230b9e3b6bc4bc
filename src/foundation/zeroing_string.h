// Strings for secrets whose memory is overwritten with zeros before it goes back to the heap.
//
// ZeroingAllocator scrubs every block it frees, over its whole capacity, so a growing
// ZeroingVector leaves no copy behind in the blocks it outgrows. szm::zeroing_string_t holds a
// zero-terminated text in such a vector. Neither type is copyable by accident (zeroing_string_t
// not at all); a moved-from zeroing_string_t holds nothing and its text() is null.
// Not thread-safe: one owner at a time. What other code copies out of text() is its own business.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace szm {

namespace detail {
// Overwrites `size` bytes at `block` with zeros in a way the optimiser keeps.
void Scrub(void* block, std::size_t size) noexcept;
} // namespace detail

// What the allocator tells of each block after scrubbing it and before freeing it: nothing, in
// the product. Tests instantiate the types below with an observer of their own, whose static
// Scrubbed(block, size) looks at memory on its way back to the heap.
struct NoScrubObserver {
    static void Scrubbed(const void*, std::size_t) noexcept {}
};

template <class T, class Observer = NoScrubObserver>
struct ZeroingAllocator {
    using value_type = T;

    ZeroingAllocator() noexcept = default;
    template <class U>
    ZeroingAllocator(const ZeroingAllocator<U, Observer>&) noexcept {}

    [[nodiscard]] T* allocate(std::size_t n) { return std::allocator<T>().allocate(n); }
    void deallocate(T* block, std::size_t n) noexcept {
        detail::Scrub(block, n * sizeof(T));
        Observer::Scrubbed(block, n * sizeof(T));
        std::allocator<T>().deallocate(block, n);
    }

    template <class U>
    friend bool operator==(const ZeroingAllocator&, const ZeroingAllocator<U, Observer>&) noexcept {
        return true;
    }
};

using ZeroingVector = std::vector<char, ZeroingAllocator<char>>;

template <class CharT, class Observer = NoScrubObserver>
class zeroing_string_t {
public:
    using Storage = std::vector<CharT, ZeroingAllocator<CharT, Observer>>;

    // The empty text: storage holds the terminator alone.
    zeroing_string_t() : m_storage(1, CharT{}) { Refresh(); }

    // Copies `text` up to its zero; null reads as the empty text.
    explicit zeroing_string_t(const CharT* text)
        : zeroing_string_t(text, text != nullptr ? std::char_traits<CharT>::length(text) : 0) {}

    // Copies `length` characters of `text`, NULs included, and adds the terminator.
    zeroing_string_t(const CharT* text, std::size_t length) {
        m_storage.reserve(length + 1);
        if (length != 0) {
            m_storage.assign(text, text + length);
        }
        m_storage.push_back(CharT{});
        Refresh();
    }

    zeroing_string_t(zeroing_string_t&& other) noexcept {
        m_storage.swap(other.m_storage);
        Refresh();
        other.Refresh();
    }

    zeroing_string_t& operator=(zeroing_string_t&& other) noexcept {
        if (this == &other) {
            return *this;
        }
        // The old text leaves with `old`, whose storage is scrubbed as it goes.
        zeroing_string_t old(std::move(*this));
        m_storage.swap(other.m_storage);
        Refresh();
        other.Refresh();
        return *this;
    }

    zeroing_string_t(const zeroing_string_t&) = delete;
    zeroing_string_t& operator=(const zeroing_string_t&) = delete;

    virtual ~zeroing_string_t() = default;

    // The first character, or null when the string was moved from.
    [[nodiscard]] const CharT* text() const noexcept { return m_text; }
    // Characters before the terminator.
    [[nodiscard]] std::uint32_t length() const noexcept { return m_length; }
    // The characters with their terminator.
    [[nodiscard]] const Storage& storage() const noexcept { return m_storage; }

private:
    void Refresh() noexcept {
        m_text = m_storage.empty() ? nullptr : m_storage.data();
        m_length = m_storage.empty() ? 0 : static_cast<std::uint32_t>(m_storage.size() - 1);
    }

    Storage m_storage;
    const CharT* m_text = nullptr;
    std::uint32_t m_length = 0;
};

} // namespace szm
