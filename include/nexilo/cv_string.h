// cv::StringT: the system's guarded string, one pointer wide, in a wide form and a narrow twin.
//
// Contract:
// - Ownership: every string owns its characters; copies are deep. The memory block (allocated by
//   the string's cv::IMemMgr) is bracketed by guard words that the operations check, so an overrun
//   is caught at the next checked operation instead of spreading.
// - Module border: a string's control record holds the manager that made its block, and its record
//   was allocated by the code of the module that made it. A string made inside a module must
//   therefore be destroyed (or reallocated) by code of that same module. Move assignment only
//   takes over a block whose manager equals the target's, so a string handed in from another
//   module is copied, never adopted.
// - Threads: no locks and no shared state; a string belongs to one thread at a time. The global
//   cv::StringMemMgr is stateless and serves all threads.
// - Broken invariants (a damaged guard word, a length beyond the capacity, exhausted memory in a
//   constructor, assignment or format) end the process with the language's bare rethrow: outside a
//   catch block that is std::terminate; inside one it rethrows the exception being handled.
// - Per system: wchar_t is UTF-16 on Windows and UTF-32 on Linux (the Linux ABI's wide text), so
//   the wide form holds UTF-16 code units on Windows and code points on Linux. The narrow form
//   holds UTF-8 by convention. Wide format strings follow the Windows convention everywhere
//   (in a wide format %s takes a wide text, %S and %hs a narrow one, %ls a wide one; %c a wide
//   character, %C a narrow one); in a narrow format %s takes a narrow text (the translation is
//   cv::detail::TranslateWideFormat in src/foundation/format_convention.h). Texts of the other
//   width inside a format are read as UTF-8 on POSIX whatever the process locale, and in the C
//   runtime's code page on Windows, as the product always did there. The path helpers use
//   '\' on Windows and '/' on POSIX. Conversions to and from UTF-8 never depend on the locale and
//   replace bad sequences with U+FFFD.
#pragma once

#include <compare>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace cv {

using u8 = std::uint8_t;
using u32 = std::uint32_t;
using i32 = std::int32_t;

// The abstract memory manager of string blocks. The order of the operations is part of the ABI.
class IMemMgr {
public:
    // slot 0: a block of `size` bytes, or null.
    virtual void* Allocate(std::size_t size) = 0;
    // slot 1: the block resized to `size` bytes, or null (the old block then stays valid). A null
    // `block` allocates.
    virtual void* Reallocate(void* block, std::size_t size) = 0;
    // slot 2
    virtual void Free(void* block) = 0;
    // slot 3: called once each time a string lets go of the manager, after its block was freed.
    virtual void Release() = 0;

protected:
    ~IMemMgr() = default;
};

// The only production manager: malloc, realloc, free. One global instance per module serves all
// strings that the module makes.
class StringMemMgr final : public IMemMgr {
public:
    constexpr StringMemMgr() noexcept = default;

    void* Allocate(std::size_t size) override;
    void* Reallocate(void* block, std::size_t size) override;
    void Free(void* block) override;
    void Release() override {}

    // The module's one instance.
    static IMemMgr* Global() noexcept;
};

// The control record of a string; fields in this order.
struct StringRecord {
    IMemMgr* mem_mgr;
    u32 length;      // characters in the text, without the terminator
    u32 capacity;    // characters the block can hold, without the terminator
    u32 growth;      // smallest step of growth
    u8 buffer_owned; // 1: the block came from mem_mgr and is freed through it
    u8 record_owned; // 1: the record was allocated by the string and is deleted with it
};

// Character operations of each width. The format strings given to Measure and Print use the
// Windows convention described above; they are translated for the C runtime here.
template <class CharT>
struct ChTraitsCRT;

template <>
struct ChTraitsCRT<char> {
    static u32 Length(const char* text) noexcept;
    // <0, 0, >0 by unsigned code unit.
    static int Compare(const char* a, u32 lengthA, const char* b, u32 lengthB) noexcept;
};

template <>
struct ChTraitsCRT<wchar_t> {
    static u32 Length(const wchar_t* text) noexcept;
    static int Compare(const wchar_t* a, u32 lengthA, const wchar_t* b, u32 lengthB) noexcept;
};

// Source of the module file's path with GetModuleFileNameW's contract: writes at most `size`
// characters including the terminator; returns the characters written without the terminator,
// `size` when the path was cut, 0 on failure.
using ModuleFileNameSource = u32 (*)(wchar_t* buffer, u32 size);

namespace detail {

inline constexpr u32 kGuardWord = 43981; // 0xABCD
inline constexpr u32 kScanLength = 0xFFFFFFFF;
inline constexpr u32 kDefaultGrowth = 64;

// Layout of a block, from its head. On 64-bit pointers the head guard sits right in front of the
// record pointer (four bytes of padding before it keep the pointer aligned), and the inner guard
// sits right in front of the text, so no gap lets an underrun pass unnoticed.
inline constexpr std::size_t kHeadGuardOffset = sizeof(void*) - sizeof(u32);
inline constexpr std::size_t kRecordOffset = sizeof(void*);
inline constexpr std::size_t kInnerGuardOffset = 2 * sizeof(void*);
inline constexpr std::size_t kTextOffset = kInnerGuardOffset + sizeof(u32);

template <class CharT>
constexpr std::size_t BlockSize(u32 capacity) noexcept {
    return kTextOffset + (std::size_t{capacity} + 1) * sizeof(CharT) + sizeof(u32);
}

// Largest capacity whose block size fits a size_t and whose lengths fit an i32.
template <class CharT>
constexpr u32 MaxCapacity() noexcept {
    constexpr std::size_t kBySize = (SIZE_MAX - kTextOffset - sizeof(u32)) / sizeof(CharT) - 1;
    return kBySize < 0x7FFFFFFE ? static_cast<u32>(kBySize) : 0x7FFFFFFE;
}

// Ends the process (or rethrows inside a catch block): see the contract above.
[[noreturn]] void BrokenInvariant();

} // namespace detail

template <class CharT, class MemMgrT = StringMemMgr, class TraitsT = ChTraitsCRT<CharT>,
          int kGuarded = 1>
class StringT {
    static_assert(std::is_same_v<CharT, char> || std::is_same_v<CharT, wchar_t>);
    static_assert(kGuarded == 1, "only the guarded layout exists");

public:
    using CharType = CharT;
    using Traits = TraitsT;
    using WideString = StringT<wchar_t, MemMgrT, ChTraitsCRT<wchar_t>, kGuarded>;
    using NarrowString = StringT<char, MemMgrT, ChTraitsCRT<char>, kGuarded>;
    static constexpr bool kIsWide = std::is_same_v<CharT, wchar_t>;

    // Bytes of the block for a capacity of `capacity` characters.
    static constexpr std::size_t BlockSize(u32 capacity) noexcept {
        return detail::BlockSize<CharT>(capacity);
    }

    // No allocation: the buffer stays null and reads as the empty text.
    StringT() noexcept = default;
    // A copy of `length` characters (-1: up to the zero). A null text gives the empty string with
    // a reserved buffer.
    StringT(const CharT* text, i32 length = -1);
    // The empty string with a reserved buffer whose blocks come from `memMgr`, which must outlive
    // the string.
    explicit StringT(IMemMgr& memMgr);
    StringT(const StringT& other);
    StringT(StringT&& other) noexcept;
    ~StringT();

    // Nothing when `text` is this string's own buffer; otherwise Assign(text, -1) and CheckGuards.
    StringT& operator=(const CharT* text);
    StringT& operator=(const StringT& other);
    // Takes the source's block when both use the same manager (the source is left null);
    // otherwise copies and leaves the source as it was. A source whose block or record lives
    // inside an InlineStringT, and a target still on its inline block, always copy.
    StringT& operator=(StringT&& other) noexcept;

    // Largest capacity a string can have.
    static constexpr u32 kMaxCapacity = detail::MaxCapacity<CharT>();

    // Copies `length` characters (-1: up to the zero; a null text with -1: none). False, with the
    // string whole, when memory is exhausted.
    bool Assign(const CharT* text, i32 length);
    // Appends `length` characters (-1: up to the zero); dies on exhausted memory.
    bool Append(const CharT* text, i32 length = -1);
    // Room for `needed` characters plus the terminator; false, with the string whole, when memory
    // is exhausted.
    bool Reserve(u32 needed);
    // Writes the length without touching the characters; dies beyond the capacity.
    bool SetLength(u32 length);
    // Sets the length (kScanLength: up to the first zero) and writes the terminator, then checks
    // the guards; dies beyond the capacity.
    bool ReleaseBuffer(u32 length = detail::kScanLength);
    // True when all guards hold (a null buffer or record passes); dies otherwise.
    bool CheckGuards() const;
    // Releases the block; the buffer becomes null.
    void Clear();

    // Never null: a constant empty text for a null buffer.
    const CharT* GetString() const noexcept { return m_buffer ? m_buffer : EmptyText(); }
    // The raw buffer (capacity + 1 characters), null before the first reserve.
    CharT* GetBuffer() noexcept { return m_buffer; }
    u32 GetLength() const noexcept { return m_buffer ? Record()->length : 0; }
    u32 GetCapacity() const noexcept { return m_buffer ? Record()->capacity : 0; }
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    // Null before the first reserve.
    const StringRecord* GetRecord() const noexcept { return m_buffer ? Record() : nullptr; }
    // The manager of the block; the global one before the first reserve.
    IMemMgr* GetMemMgr() const noexcept;

    // Builds `out` from scratch (the arguments may point into `out`); a null format empties it.
    // The second argument is ignored. A format the C runtime cannot form (an argument that does
    // not convert) gives nothing, here and in AppendFormat.
    static bool Format(StringT& out, int ignored, const CharT* format, ...);
    static bool FormatV(StringT& out, const CharT* format, std::va_list args);
    // Appends formatted text in place; a null format does nothing. The arguments must not point
    // into this string.
    bool AppendFormat(const CharT* format, ...);
    bool AppendFormatV(const CharT* format, std::va_list args);

    // By code unit, a null buffer as the empty text.
    int Compare(const StringT& other) const noexcept;
    int Compare(const CharT* text) const noexcept;

    // The UTF-8 form in `out`; the empty string (never a null one) when there is nothing to
    // convert or the conversion fails. The text ends at its first zero.
    void ToUtf8(NarrowString& out) const requires std::is_same_v<CharT, wchar_t>;
    // The wide form of this UTF-8 text in `out`, likewise.
    void FromUtf8(WideString& out) const requires(!std::is_same_v<CharT, wchar_t>);

    // The directory of the module holding this code, with a trailing separator. False when the
    // path is missing or does not fit the capacity (a path of exactly `capacity` characters does
    // not fit); the string must already have room for a path.
    bool SetToModuleDirectory() requires std::is_same_v<CharT, wchar_t>;
    // The same with the module path taken from `source` (tests inject it).
    bool SetToModuleDirectory(ModuleFileNameSource source) requires std::is_same_v<CharT, wchar_t>;
    // Cuts the last path element and its separator; false when there was nothing to cut.
    bool RemoveFileSpec() requires std::is_same_v<CharT, wchar_t>;
    // Adds a trailing separator to a non-empty path that lacks one; false when it cannot.
    bool AddBackslash() requires std::is_same_v<CharT, wchar_t>;

    friend bool operator==(const StringT& a, const StringT& b) noexcept {
        return a.Compare(b) == 0;
    }
    friend bool operator==(const StringT& a, const CharT* b) noexcept { return a.Compare(b) == 0; }
    friend std::strong_ordering operator<=>(const StringT& a, const StringT& b) noexcept {
        return a.Compare(b) <=> 0;
    }
    friend std::strong_ordering operator<=>(const StringT& a, const CharT* b) noexcept {
        return a.Compare(b) <=> 0;
    }

protected:
    // Points the string at a caller-provided, not owned block (InlineStringT).
    void AttachBlock(unsigned char* block, StringRecord* record) noexcept;

private:
    static const CharT* EmptyText() noexcept;
    StringRecord* Record() const noexcept {
        StringRecord* record;
        std::memcpy(&record,
                    reinterpret_cast<const unsigned char*>(m_buffer) - detail::kTextOffset +
                        detail::kRecordOffset,
                    sizeof record);
        return record;
    }
    // Moves the text to a block for `capacity` characters; a string without a block gets
    // `freshRecord`, or a new default record when that is null.
    bool Reallocate(u32 capacity, StringRecord* freshRecord = nullptr);
    bool Release();
    bool AppendFormatAt(u32 at, const CharT* format, std::va_list args);

    CharT* m_buffer = nullptr;
};

using StringW = StringT<wchar_t>;
using StringA = StringT<char>;

static_assert(sizeof(StringW) == sizeof(void*), "a string is one pointer");
static_assert(sizeof(StringA) == sizeof(void*), "a string is one pointer");

// A string for paths, built on the stack: record and a block of 260 characters live inside the
// object. The first growth past 260 characters moves the text to a heap block, after which the
// object behaves like any other string (its record stays inside the object). Not copyable or
// movable as such; as a source of move assignment it is copied.
template <class CharT = wchar_t>
class InlineStringT : public StringT<CharT> {
public:
    static constexpr u32 kInlineCapacity = 260;

    // A null text gives the empty string.
    explicit InlineStringT(const CharT* text = nullptr);
    ~InlineStringT();
    InlineStringT(const InlineStringT&) = delete;
    InlineStringT& operator=(const InlineStringT& other) {
        StringT<CharT>::operator=(other);
        return *this;
    }
    using StringT<CharT>::operator=;

private:
    CharT* m_inlineChars;
    u32* m_inlineLength;
    StringRecord m_record;
    alignas(void*) unsigned char m_block[detail::BlockSize<CharT>(kInlineCapacity)];
};

using InlineStringW = InlineStringT<wchar_t>;

extern template class StringT<wchar_t>;
extern template class StringT<char>;
extern template class InlineStringT<wchar_t>;
extern template class InlineStringT<char>;

} // namespace cv
