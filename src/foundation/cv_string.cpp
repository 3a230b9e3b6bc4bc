#include "nexilo/cv_string.h"

#include "foundation/format_convention.h"
#include "platform/crt_print.h"
#include "platform/module_path.h"
#include "platform/path_spec.h"
#include "platform/utf8.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <new>
#include <string>
#include <utility>

namespace cv {

namespace {

constinit StringMemMgr g_stringMemMgr;

u32 ReadWord(const unsigned char* at) noexcept {
    u32 value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

void WriteWord(unsigned char* at, u32 value) noexcept {
    std::memcpy(at, &value, sizeof value);
}

template <class CharT>
unsigned char* HeadOf(const CharT* buffer) noexcept {
    return const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(buffer)) -
           detail::kTextOffset;
}

template <class CharT>
std::size_t TailGuardOffset(u32 capacity) noexcept {
    return detail::kTextOffset + (std::size_t{capacity} + 1) * sizeof(CharT);
}

// Guards and record pointer of a block for `capacity` characters.
template <class CharT>
void WriteFrame(unsigned char* block, StringRecord* record, u32 capacity) noexcept {
    WriteWord(block + detail::kHeadGuardOffset, detail::kGuardWord);
    std::memcpy(block + detail::kRecordOffset, &record, sizeof record);
    WriteWord(block + detail::kInnerGuardOffset, detail::kGuardWord);
    WriteWord(block + TailGuardOffset<CharT>(capacity), detail::kGuardWord);
}

template <class CharT>
u32 BoundedLength(const CharT* text, u32 limit) noexcept {
    u32 length = 0;
    while (length < limit && text[length] != 0) {
        ++length;
    }
    return length;
}

// The print functions of each width, over formats already in the C-standard form.
int Measure(const wchar_t* format, std::va_list args) {
    return platform::MeasureWide(format, args);
}
int Measure(const char* format, std::va_list args) {
    return platform::MeasureNarrow(format, args);
}
int Print(wchar_t* buffer, std::size_t count, const wchar_t* format, std::va_list args) {
    return platform::PrintWide(buffer, count, format, args);
}
int Print(char* buffer, std::size_t count, const char* format, std::va_list args) {
    return platform::PrintNarrow(buffer, count, format, args);
}
std::wstring Translate(const wchar_t* format) {
    return detail::TranslateWideFormat(format);
}
std::string Translate(const char* format) {
    return detail::TranslateNarrowFormat(format);
}

} // namespace

void* StringMemMgr::Allocate(std::size_t size) {
    return std::malloc(size);
}

void* StringMemMgr::Reallocate(void* block, std::size_t size) {
    return std::realloc(block, size);
}

void StringMemMgr::Free(void* block) {
    std::free(block);
}

IMemMgr* StringMemMgr::Global() noexcept {
    return &g_stringMemMgr;
}

namespace detail {

void BrokenInvariant() {
    // Outside a catch block the bare rethrow ends the process; inside one it rethrows the
    // exception being handled.
    throw;
}

} // namespace detail

u32 ChTraitsCRT<char>::Length(const char* text) noexcept {
    std::size_t length = std::strlen(text);
    return length > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<u32>(length);
}

int ChTraitsCRT<char>::Compare(const char* a, u32 lengthA, const char* b, u32 lengthB) noexcept {
    int result = std::memcmp(a, b, std::min(lengthA, lengthB));
    if (result != 0) {
        return result < 0 ? -1 : 1;
    }
    return lengthA < lengthB ? -1 : (lengthA > lengthB ? 1 : 0);
}

u32 ChTraitsCRT<wchar_t>::Length(const wchar_t* text) noexcept {
    std::size_t length = std::wcslen(text);
    return length > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<u32>(length);
}

int ChTraitsCRT<wchar_t>::Compare(const wchar_t* a, u32 lengthA, const wchar_t* b,
                                  u32 lengthB) noexcept {
    // By code unit, unsigned: wchar_t is signed on Linux.
    u32 common = std::min(lengthA, lengthB);
    for (u32 i = 0; i < common; ++i) {
        auto x = static_cast<std::make_unsigned_t<wchar_t>>(a[i]);
        auto y = static_cast<std::make_unsigned_t<wchar_t>>(b[i]);
        if (x != y) {
            return x < y ? -1 : 1;
        }
    }
    return lengthA < lengthB ? -1 : (lengthA > lengthB ? 1 : 0);
}

#define CV_STRING_TEMPLATE template <class CharT, class MemMgrT, class TraitsT, int kGuarded>
#define CV_STRING StringT<CharT, MemMgrT, TraitsT, kGuarded>

CV_STRING_TEMPLATE
const CharT* CV_STRING::EmptyText() noexcept {
    static const CharT empty[1] = {};
    return empty;
}

CV_STRING_TEMPLATE
CV_STRING::StringT(const CharT* text, i32 length) {
    if (!Assign(text, length)) {
        detail::BrokenInvariant();
    }
}

CV_STRING_TEMPLATE
CV_STRING::StringT(IMemMgr& memMgr) {
    // A record without a block has nowhere to live: reserve at once, through the new manager.
    auto* record = new (std::nothrow) StringRecord{&memMgr, 0, 0, detail::kDefaultGrowth, 0, 1};
    if (!record || !Reallocate(detail::kDefaultGrowth, record)) {
        delete record;
        detail::BrokenInvariant();
    }
}

CV_STRING_TEMPLATE
CV_STRING::StringT(const StringT& other) {
    if (other.m_buffer) {
        other.CheckGuards();
        if (!Assign(other.m_buffer, static_cast<i32>(other.GetLength()))) {
            detail::BrokenInvariant();
        }
    }
}

CV_STRING_TEMPLATE
CV_STRING::StringT(StringT&& other) noexcept {
    *this = std::move(other);
}

CV_STRING_TEMPLATE
CV_STRING::~StringT() {
    Release();
}

CV_STRING_TEMPLATE
IMemMgr* CV_STRING::GetMemMgr() const noexcept {
    return m_buffer ? Record()->mem_mgr : MemMgrT::Global();
}

CV_STRING_TEMPLATE
CV_STRING& CV_STRING::operator=(const CharT* text) {
    if (text && text == m_buffer) {
        return *this;
    }
    if (!Assign(text, -1)) {
        detail::BrokenInvariant();
    }
    CheckGuards();
    return *this;
}

CV_STRING_TEMPLATE
CV_STRING& CV_STRING::operator=(const StringT& other) {
    if (this == &other) {
        return *this;
    }
    other.CheckGuards();
    if (!Assign(other.GetString(), static_cast<i32>(other.GetLength()))) {
        detail::BrokenInvariant();
    }
    CheckGuards();
    return *this;
}

CV_STRING_TEMPLATE
CV_STRING& CV_STRING::operator=(StringT&& other) noexcept {
    if (this == &other) {
        return *this;
    }
    StringRecord* source = other.m_buffer ? other.Record() : nullptr;
    // Only a block with a record of its own can change hands: an inline block or an inline
    // record dies with its object.
    // An inline target keeps its own room rather than give it up for the source's block.
    bool targetTakes = !m_buffer || Record()->buffer_owned;
    if (source && targetTakes && source->mem_mgr == GetMemMgr() && source->buffer_owned &&
        source->record_owned) {
        other.CheckGuards();
        Release();
        m_buffer = std::exchange(other.m_buffer, nullptr);
        return *this;
    }
    if (!other.m_buffer && !m_buffer) {
        return *this;
    }
    return *this = static_cast<const StringT&>(other);
}

CV_STRING_TEMPLATE
bool CV_STRING::Assign(const CharT* text, i32 length) {
    u32 count;
    if (length == -1) {
        count = text ? Traits::Length(text) : 0;
    } else if (length < 0) {
        return false;
    } else {
        count = text ? static_cast<u32>(length) : 0;
    }
    if (count > kMaxCapacity) {
        return false;
    }
    // The text may lie inside this string's own block, which Reserve may move.
    std::size_t offset = 0;
    bool inside = m_buffer && text >= m_buffer && text <= m_buffer + Record()->capacity;
    if (inside) {
        offset = static_cast<std::size_t>(text - m_buffer);
    }
    if (!Reserve(count)) {
        return false;
    }
    if (inside) {
        text = m_buffer + offset;
    }
    if (count != 0) {
        std::memmove(m_buffer, text, count * sizeof(CharT));
    }
    Record()->length = count;
    m_buffer[count] = 0;
    return true;
}

CV_STRING_TEMPLATE
bool CV_STRING::Append(const CharT* text, i32 length) {
    u32 count;
    if (length == -1) {
        count = text ? Traits::Length(text) : 0;
    } else if (length < 0) {
        return false;
    } else {
        count = text ? static_cast<u32>(length) : 0;
    }
    u32 old = GetLength();
    if (count > kMaxCapacity - old) {
        return false;
    }
    std::size_t offset = 0;
    bool inside = m_buffer && text >= m_buffer && text <= m_buffer + Record()->capacity;
    if (inside) {
        offset = static_cast<std::size_t>(text - m_buffer);
    }
    if (!Reserve(old + count)) {
        detail::BrokenInvariant();
    }
    if (inside) {
        text = m_buffer + offset;
    }
    if (count != 0) {
        std::memmove(m_buffer + old, text, count * sizeof(CharT));
    }
    Record()->length = old + count;
    m_buffer[old + count] = 0;
    return true;
}

CV_STRING_TEMPLATE
bool CV_STRING::Reserve(u32 needed) {
    u32 capacity = 0;
    u32 growth = detail::kDefaultGrowth;
    if (m_buffer) {
        const StringRecord* record = Record();
        capacity = record->capacity;
        growth = record->growth;
    }
    if (capacity != 0 && capacity >= needed) {
        return true;
    }
    if (needed > kMaxCapacity) {
        return false;
    }
    std::uint64_t step = std::max<std::uint64_t>(needed > capacity ? needed - capacity : 0, growth);
    std::uint64_t next;
    if (capacity >= 1024) {
        next = capacity + std::max<std::uint64_t>(step, 1024);
    } else if (step < capacity) {
        next = 2 * std::uint64_t{capacity};
    } else {
        next = capacity + step;
    }
    return Reallocate(static_cast<u32>(std::min<std::uint64_t>(next, kMaxCapacity)));
}

CV_STRING_TEMPLATE
bool CV_STRING::Reallocate(u32 capacity, StringRecord* freshRecord) {
    StringRecord* record = m_buffer ? Record() : nullptr;
    StringRecord* madeRecord = nullptr;
    if (!record && freshRecord) {
        record = freshRecord; // its maker deletes it on failure
    } else if (!record) {
        record = madeRecord =
            new (std::nothrow) StringRecord{MemMgrT::Global(), 0, 0, detail::kDefaultGrowth, 0, 1};
        if (!record) {
            return false;
        }
    }
    IMemMgr* memMgr = record->mem_mgr;
    unsigned char* oldBlock = m_buffer ? HeadOf(m_buffer) : nullptr;
    std::size_t oldSize = m_buffer ? BlockSize(record->capacity) : 0;
    std::size_t newSize = BlockSize(capacity);
    unsigned char* block;
    if (record->buffer_owned) {
        block = static_cast<unsigned char*>(memMgr->Reallocate(oldBlock, newSize));
        if (!block) {
            block = static_cast<unsigned char*>(memMgr->Allocate(newSize));
            if (!block) {
                return false;
            }
            std::memcpy(block, oldBlock, std::min(oldSize, newSize));
            memMgr->Free(oldBlock);
        }
    } else {
        // A block we do not own (the inline one, or none) is only a source to copy from.
        block = static_cast<unsigned char*>(memMgr->Reallocate(nullptr, newSize));
        if (!block) {
            block = static_cast<unsigned char*>(memMgr->Allocate(newSize));
        }
        if (!block) {
            delete madeRecord;
            return false;
        }
        std::memset(block, 0, newSize);
        if (oldBlock) {
            std::memcpy(block, oldBlock, std::min(oldSize, newSize));
        }
    }
    WriteFrame<CharT>(block, record, capacity);
    m_buffer = reinterpret_cast<CharT*>(block + detail::kTextOffset);
    m_buffer[capacity] = 0;
    record->capacity = capacity;
    record->buffer_owned = 1;
    if (record->length > capacity) {
        record->length = capacity;
        m_buffer[capacity] = 0;
    }
    return true;
}

CV_STRING_TEMPLATE
bool CV_STRING::SetLength(u32 length) {
    if (length > GetCapacity()) {
        detail::BrokenInvariant();
    }
    if (m_buffer) {
        Record()->length = length;
    }
    return true;
}

CV_STRING_TEMPLATE
bool CV_STRING::ReleaseBuffer(u32 length) {
    if (!m_buffer) {
        if (length != 0 && length != detail::kScanLength) {
            detail::BrokenInvariant();
        }
        return true;
    }
    StringRecord* record = Record();
    if (length == detail::kScanLength) {
        length = BoundedLength(m_buffer, record->capacity);
    } else if (length > record->capacity) {
        detail::BrokenInvariant();
    }
    record->length = length;
    m_buffer[length] = 0;
    return CheckGuards();
}

CV_STRING_TEMPLATE
bool CV_STRING::CheckGuards() const {
    if (!m_buffer) {
        return true;
    }
    const unsigned char* head = HeadOf(m_buffer);
    // The inner and head guards first: they tell whether the record pointer can be trusted.
    if (ReadWord(head + detail::kInnerGuardOffset) != detail::kGuardWord ||
        ReadWord(head + detail::kHeadGuardOffset) != detail::kGuardWord) {
        detail::BrokenInvariant();
    }
    const StringRecord* record = Record();
    if (!record) {
        return true;
    }
    if (ReadWord(head + TailGuardOffset<CharT>(record->capacity)) != detail::kGuardWord) {
        detail::BrokenInvariant();
    }
    return true;
}

CV_STRING_TEMPLATE
bool CV_STRING::Release() {
    if (!m_buffer) {
        return true;
    }
    StringRecord* record = Record();
    if (!record) {
        m_buffer = nullptr;
        return true;
    }
    CheckGuards();
    IMemMgr* memMgr = record->mem_mgr;
    if (record->buffer_owned) {
        memMgr->Free(HeadOf(m_buffer));
    }
    memMgr->Release();
    if (record->record_owned) {
        delete record;
    }
    m_buffer = nullptr;
    return true;
}

CV_STRING_TEMPLATE
void CV_STRING::Clear() {
    Release();
}

CV_STRING_TEMPLATE
void CV_STRING::AttachBlock(unsigned char* block, StringRecord* record) noexcept {
    WriteFrame<CharT>(block, record, record->capacity);
    m_buffer = reinterpret_cast<CharT*>(block + detail::kTextOffset);
    m_buffer[record->length] = 0;
    m_buffer[record->capacity] = 0;
}

CV_STRING_TEMPLATE
bool CV_STRING::Format(StringT& out, int, const CharT* format, ...) {
    std::va_list args;
    va_start(args, format);
    bool result = FormatV(out, format, args);
    va_end(args);
    return result;
}

CV_STRING_TEMPLATE
bool CV_STRING::FormatV(StringT& out, const CharT* format, std::va_list args) {
    // Built aside, so that arguments pointing into `out` stay readable while printing.
    StringT built;
    if (!built.Reserve(0)) {
        detail::BrokenInvariant();
    }
    if (format) {
        built.AppendFormatAt(0, format, args);
    }
    out = std::move(built);
    return true;
}

CV_STRING_TEMPLATE
bool CV_STRING::AppendFormat(const CharT* format, ...) {
    std::va_list args;
    va_start(args, format);
    bool result = AppendFormatV(format, args);
    va_end(args);
    return result;
}

CV_STRING_TEMPLATE
bool CV_STRING::AppendFormatV(const CharT* format, std::va_list args) {
    if (!format) {
        return true;
    }
    return AppendFormatAt(GetLength(), format, args);
}

CV_STRING_TEMPLATE
bool CV_STRING::AppendFormatAt(u32 at, const CharT* format, std::va_list args) {
    const auto translated = Translate(format);
    const CharT* cFormat = translated.c_str();

    std::va_list measureArgs;
    va_copy(measureArgs, args);
    int measured = Measure(cFormat, measureArgs);
    va_end(measureArgs);

    if (measured >= 0) {
        if (static_cast<u32>(measured) > kMaxCapacity - 2 - at) {
            detail::BrokenInvariant();
        }
        u32 total = at + static_cast<u32>(measured);
        if (!Reserve(total + 2)) {
            detail::BrokenInvariant();
        }
        std::va_list printArgs;
        va_copy(printArgs, args);
        int printed =
            Print(m_buffer + at, std::size_t{static_cast<u32>(measured)} + 1, cFormat, printArgs);
        va_end(printArgs);
        return ReleaseBuffer(printed == measured ? total : at);
    }

    // The runtime cannot measure (glibc's wide print): print into the room there is and grow
    // geometrically until the text fits.
    u32 guess = std::min<u32>(Traits::Length(cFormat), kMaxCapacity - at);
    if (!Reserve(at + guess)) {
        detail::BrokenInvariant();
    }
    for (;;) {
        u32 room = Record()->capacity - at;
        std::va_list printArgs;
        va_copy(printArgs, args);
        int printed = Print(m_buffer + at, std::size_t{room} + 1, cFormat, printArgs);
        va_end(printArgs);
        if (printed >= 0) {
            return ReleaseBuffer(at + static_cast<u32>(printed));
        }
        if (printed != platform::kPrintTooSmall || Record()->capacity >= kMaxCapacity) {
            return ReleaseBuffer(at); // the text cannot be formed: nothing is appended
        }
        u32 capacity = Record()->capacity;
        if (!Reserve(capacity > kMaxCapacity / 2 ? kMaxCapacity : capacity * 2)) {
            detail::BrokenInvariant();
        }
    }
}

CV_STRING_TEMPLATE
int CV_STRING::Compare(const StringT& other) const noexcept {
    return Traits::Compare(GetString(), GetLength(), other.GetString(), other.GetLength());
}

CV_STRING_TEMPLATE
int CV_STRING::Compare(const CharT* text) const noexcept {
    if (!text) {
        return IsEmpty() ? 0 : 1;
    }
    return Traits::Compare(GetString(), GetLength(), text, Traits::Length(text));
}

namespace {

// ToUtf8 and FromUtf8: measure with the terminator, reserve, convert, and hand the work string's
// block to `out`; a failed conversion leaves the empty string.
template <class Target, class Source, class Convert>
void ConvertInto(const Source* text, Target& out, Convert convert) {
    Target work;
    if (!work.Reserve(0)) {
        detail::BrokenInvariant();
    }
    const std::size_t measured = convert(text, nullptr, 0);
    if (measured != 0 && measured - 1 <= Target::kMaxCapacity &&
        work.Reserve(static_cast<u32>(measured - 1))) {
        const std::size_t converted = convert(text, work.GetBuffer(), measured);
        work.ReleaseBuffer(converted == 0 ? 0 : detail::kScanLength);
    }
    out = std::move(work);
}

} // namespace

// The width-bound members below keep their bodies valid for both widths under `if constexpr`:
// clang 14 instantiates members whose constraints fail when the class is explicitly instantiated.
CV_STRING_TEMPLATE
void CV_STRING::ToUtf8(NarrowString& out) const requires std::is_same_v<CharT, wchar_t> {
    if constexpr (std::is_same_v<CharT, wchar_t>) {
        ConvertInto(GetString(), out, [](const wchar_t* text, char* buffer, std::size_t size) {
            return platform::WideToUtf8(text, buffer, size);
        });
    }
}

CV_STRING_TEMPLATE
void CV_STRING::FromUtf8(WideString& out) const requires(!std::is_same_v<CharT, wchar_t>) {
    if constexpr (!std::is_same_v<CharT, wchar_t>) {
        ConvertInto(GetString(), out, [](const char* text, wchar_t* buffer, std::size_t size) {
            return platform::Utf8ToWide(text, buffer, size);
        });
    }
}

CV_STRING_TEMPLATE
bool CV_STRING::SetToModuleDirectory() requires std::is_same_v<CharT, wchar_t> {
    if constexpr (std::is_same_v<CharT, wchar_t>) {
        return SetToModuleDirectory(&platform::GetOwnModuleFileName);
    } else {
        return false;
    }
}

CV_STRING_TEMPLATE
bool CV_STRING::SetToModuleDirectory(
    ModuleFileNameSource source) requires std::is_same_v<CharT, wchar_t> {
    if constexpr (std::is_same_v<CharT, wchar_t>) {
        if (!source) {
            return false;
        }
        if (!m_buffer && !Reserve(0)) {
            return false;
        }
        // The system's longest path, in characters; a heap string grows up to it.
        constexpr u32 kLongestPath = 32767;
        for (;;) {
            u32 capacity = Record()->capacity;
            u32 written = source(m_buffer, capacity);
            m_buffer[capacity] = 0;
            ReleaseBuffer(detail::kScanLength);
            if (written == 0) {
                return false;
            }
            if (written != capacity) {
                break;
            }
            // Cut. An inline block keeps its fixed room; only a heap block may grow.
            if (!Record()->buffer_owned || capacity >= kLongestPath || !Reserve(capacity * 2)) {
                return false;
            }
        }
        RemoveFileSpec();
        return AddBackslash();
    } else {
        return false;
    }
}

CV_STRING_TEMPLATE
bool CV_STRING::RemoveFileSpec() requires std::is_same_v<CharT, wchar_t> {
    if constexpr (std::is_same_v<CharT, wchar_t>) {
        if (!m_buffer && !Reserve(0)) {
            return false;
        }
        bool removed = platform::RemoveFileSpec(m_buffer);
        ReleaseBuffer(detail::kScanLength);
        return removed;
    } else {
        return false;
    }
}

CV_STRING_TEMPLATE
bool CV_STRING::AddBackslash() requires std::is_same_v<CharT, wchar_t> {
    if constexpr (std::is_same_v<CharT, wchar_t>) {
        if (!m_buffer && !Reserve(0)) {
            return false;
        }
        ReleaseBuffer(detail::kScanLength);
        if (GetLength() == kMaxCapacity || !Reserve(GetLength() + 1)) {
            return false;
        }
        bool added =
            platform::AddBackslash(m_buffer, std::size_t{Record()->capacity} + 1) != nullptr;
        ReleaseBuffer(detail::kScanLength);
        return added;
    } else {
        return false;
    }
}

#undef CV_STRING_TEMPLATE
#undef CV_STRING

template <class CharT>
InlineStringT<CharT>::InlineStringT(const CharT* text)
    : m_inlineChars(reinterpret_cast<CharT*>(m_block + detail::kTextOffset)),
      m_inlineLength(&m_record.length), m_record{StringMemMgr::Global(), 0, kInlineCapacity,
                                                 kInlineCapacity,        0, 0} {
    std::memset(m_block, 0, sizeof m_block);
    this->AttachBlock(m_block, &m_record);
    if (text && !this->Assign(text, -1)) {
        detail::BrokenInvariant();
    }
}

template <class CharT>
InlineStringT<CharT>::~InlineStringT() {
    // Released here, while the inline record and block are still alive.
    this->Clear();
}

template class StringT<wchar_t>;
template class StringT<char>;
template class InlineStringT<wchar_t>;
template class InlineStringT<char>;

} // namespace cv
