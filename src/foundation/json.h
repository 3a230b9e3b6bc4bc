// cv::Json: the one handle through which the system reaches the JSON library.
//
// Contract:
// - Ownership: a cv::Json owns its cv::json_impl, and the impl owns one reference on the root.
//   Copies, Assign and the member readers (Get(key, Json&), Get(key), At) share the root or the
//   member by reference, so a change made through one handle shows through every handle on the
//   same tree. A shared member stays a part of its parent.
// - Root replacement: every operation that replaces the root (Set(value), Pack, Parse, Load,
//   SetNull, Assign) lets go of the old root; when the new root cannot be made, the handle is left
//   without one ("not valid").
// - Threads: none. The library's reference count is plain, not atomic: a tree shared by two
//   handles stays on one thread, or its owners lock.
// - Failures: no operation throws on its own and none writes a message; false, a handle without a
//   root, 0 or an empty text is the whole report. Only Parse with a JsonError* gives details.
//   std::string and std::wstring allocations throw as usual.
// - Flags: only the bits named below reach the library; any other bit (an indent, a real
//   precision) is dropped.
// - Text: the library holds UTF-8. The wide forms convert to and from UTF-8, replacing bad
//   sequences; narrow paths are UTF-8 as well.
// - Integers: the "32-bit" forms taking `long` and `unsigned long` follow the width of `long`:
//   32 bits on Windows, 64 bits on LP64 systems, where they share the 64-bit body. The slots are
//   the same on every system.
// - Module border: the order of the virtual operations is a contract between modules.
#pragma once

#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

// The library's node; its header stays out of the users of this one.
struct json_t;

namespace cv {

// Decoding flags.
inline constexpr std::uint32_t kJsonRejectDuplicates = 1;
inline constexpr std::uint32_t kJsonDisableEofCheck = 2;
inline constexpr std::uint32_t kJsonDecodeAny = 4;
inline constexpr std::uint32_t kJsonDecodeIntAsReal = 8;
inline constexpr std::uint32_t kJsonAllowNul = 16;
// Encoding flags.
inline constexpr std::uint32_t kJsonCompact = 32;
inline constexpr std::uint32_t kJsonEnsureAscii = 64;
inline constexpr std::uint32_t kJsonSortKeys = 128;
inline constexpr std::uint32_t kJsonPreserveOrder = 256;
inline constexpr std::uint32_t kJsonEncodeAny = 512;
inline constexpr std::uint32_t kJsonEscapeSlash = 1024;

// Details of a failed parse. On success the numbers are -1 and the texts empty.
struct JsonError {
    std::int32_t line = -1;
    std::int32_t column = -1;
    std::int32_t position = -1;
    std::string source;
    std::string text;
};

// Holder of one reference on a root, which may be null. Dropped in the destructor.
class json_impl {
public:
    json_impl() noexcept = default;
    // Takes over one reference on `root`.
    explicit json_impl(json_t* root) noexcept : m_root(root) {}
    json_impl(const json_impl&) = delete;
    json_impl& operator=(const json_impl&) = delete;
    virtual ~json_impl();

    json_t* m_root = nullptr;
};

class Json {
public:
    // No root.
    Json();
    // Shares the root of `other`.
    Json(const Json& other);
    // The library's shared true or false.
    explicit Json(bool value);
    explicit Json(std::int32_t value);
    explicit Json(std::int64_t value);
    // Other integer types go to the 32-bit form (sign-extended) when they are 32 bits wide or
    // less, else to the 64-bit form.
    template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, std::int32_t> &&
             !std::same_as<T, std::int64_t>) explicit Json(T value)
        : Json(ToFixedWidth(value)) {}
    // A new string; without a root when `text` is null or not valid UTF-8.
    explicit Json(const char* text);
    // Nothing on self-assignment or when `other` is not valid; otherwise shares its root.
    Json& operator=(const Json& other);

    virtual ~Json();

    // Adds a reference to the root: the new count, 0 for the shared constants, -1 without a root.
    virtual std::int32_t AddRef();
    // Drops a reference: the old count minus 1 (-2 for the shared constants, which stay as they
    // are), -1 without a root. At 0 the tree is freed and the handle is left without a root.
    virtual std::int32_t DecRef();
    // The count; -1 without a root and for the shared constants.
    virtual std::int32_t RefCount() const;
    // Lets go of the root.
    virtual void Reset();
    // True with a root.
    virtual bool IsValid() const;
    // Kind tests; false without a root.
    virtual bool IsObject() const;
    virtual bool IsArray() const;
    virtual bool IsString() const;
    virtual bool IsInteger() const;
    virtual bool IsReal() const;
    virtual bool IsNumber() const;
    virtual bool IsBool() const;
    virtual bool IsTrue() const;
    virtual bool IsFalse() const;
    virtual bool IsNull() const;
    // As operator=.
    virtual void Assign(const Json& other);
    // The root becomes the shared null.
    virtual void SetNull();

    // Members of an object. False when this is not an object, the key is absent or the member is
    // not of the asked kind: only an integer gives the integer forms (the 32-bit forms its low 32
    // bits), and no form reads a real. The Json form shares the member; it fails when `out` is
    // this handle itself.
    virtual bool Get(const std::string& key, std::int64_t& out) const;
    virtual bool Get(const std::string& key, std::int32_t& out) const;
    virtual bool Get(const std::string& key, std::uint32_t& out) const;
    virtual bool Get(const std::string& key, std::wstring& out) const;
    virtual bool Get(const std::string& key, std::string& out) const;
    virtual bool Get(const std::string& key, bool& out) const;
    virtual bool Get(const std::string& key, Json& out) const;
    // A handle sharing the member, or one without a root. Beware: given a non-const std::string
    // lvalue, overload resolution picks Get(std::string& out) below, which reads the root.
    virtual Json Get(const std::string& key) const;
    // A handle sharing element `index` of an array, or one without a root.
    virtual Json At(std::uint32_t index) const;
    virtual bool At(std::uint32_t index, Json& out) const;

    // The root's own value; false on another kind. The double form reads a real only; the 32-bit
    // forms give the low half of an integer. A narrow string comes out at its full stored length,
    // a wide one up to its first NUL (also in the member readers above).
    virtual bool Get(std::wstring& out) const;
    virtual bool Get(std::string& out) const;
    virtual bool Get(double& out) const;
    virtual bool Get(std::int64_t& out) const;
    virtual bool Get(std::int32_t& out) const;
    virtual bool Get(std::uint32_t& out) const;
    virtual bool Get(bool& out) const;
    // The value of a bool, else false.
    virtual bool AsBool() const;

    // Sets a member of an object. False when this is not an object, the key is not valid UTF-8 or
    // the value cannot be made (invalid UTF-8, a null wide text, a handle without a root). The
    // 32-bit forms sign-extend.
    virtual bool Set(const std::string& key, const Json& value);
    virtual bool Set(const std::string& key, const std::wstring& value);
    virtual bool Set(const std::string& key, const wchar_t* value);
    virtual bool Set(const std::string& key, const std::string& value);
    virtual bool Set(const std::string& key, const char* value);
    virtual bool Set(const std::string& key, double value);
    virtual bool Set(const std::string& key, long long value);
    virtual bool Set(const std::string& key, unsigned long long value);
    virtual bool Set(const std::string& key, int value);
    virtual bool Set(const std::string& key, unsigned int value);
    virtual bool Set(const std::string& key, long value);
    virtual bool Set(const std::string& key, unsigned long value);
    virtual bool Set(const std::string& key, bool value);

    // Replaces element `index` of an array (the old element is released). False when this is not
    // an array or `index` is not below the size: the array is never extended.
    virtual bool SetAt(std::uint32_t index, const Json& value);
    virtual bool SetAt(std::uint32_t index, const std::wstring& value);
    virtual bool SetAt(std::uint32_t index, const wchar_t* value);
    virtual bool SetAt(std::uint32_t index, const std::string& value);
    virtual bool SetAt(std::uint32_t index, const char* value);
    virtual bool SetAt(std::uint32_t index, double value);
    virtual bool SetAt(std::uint32_t index, long long value);
    virtual bool SetAt(std::uint32_t index, unsigned long long value);
    virtual bool SetAt(std::uint32_t index, int value);
    virtual bool SetAt(std::uint32_t index, unsigned int value);
    virtual bool SetAt(std::uint32_t index, long value);
    virtual bool SetAt(std::uint32_t index, unsigned long value);
    virtual bool SetAt(std::uint32_t index, bool value);

    // Replaces the root itself; false (and no root) when the new value cannot be made.
    virtual bool Set(const char* value);
    virtual bool Set(const std::string& value);
    virtual bool Set(double value);
    virtual bool Set(long long value);
    virtual bool Set(unsigned long long value);
    virtual bool Set(int value);
    virtual bool Set(unsigned int value);
    virtual bool Set(long value);
    virtual bool Set(unsigned long value);
    virtual bool Set(bool value);

    // Readers with a default of 0 (or empty) on the wrong kind. AsReal reads a real only.
    virtual std::int32_t AsInt() const;
    virtual std::int64_t AsInt64() const;
    virtual std::uint64_t AsUInt64() const;
    virtual std::int32_t AsInt32() const;
    virtual double AsReal() const;
    // A copy of a string at its full stored length in a block from malloc, zero-terminated, also
    // stored in `*out` when `out` is not null; the caller frees it. Null on the wrong kind.
    virtual char* DupString(char** out) const;
    // The library's own text, valid as long as the root; also stored in `*out`. Null on the wrong
    // kind.
    virtual const char* GetCString(const char** out) const;
    // The text up to its first NUL; empty on the wrong kind.
    virtual std::string AsString() const;

    // Appends to an array; false when this is not an array or the value cannot be made.
    virtual bool Append(const Json& value);
    virtual bool Append(const std::wstring& value);
    virtual bool Append(const wchar_t* value);
    virtual bool Append(const std::string& value);
    virtual bool Append(const char* value);
    virtual bool Append(double value);
    virtual bool Append(long long value);
    virtual bool Append(unsigned long long value);
    virtual bool Append(int value);
    virtual bool Append(unsigned int value);
    virtual bool Append(long value);
    virtual bool Append(unsigned long value);
    virtual bool Append(bool value);

    // Elements of an array, members of an object, otherwise 0.
    virtual std::uint32_t Size() const;

    // The root, or null. The handle keeps its reference.
    virtual json_t* Handle() const;
    // The address of the impl's root field, or null without an impl.
    virtual json_t** HandleAddress();

    // The library's pack and unpack languages. A format with a token that is exactly "o" (a value
    // whose reference the library would take over) is refused at once, leaving the handle as it
    // was. Pack replaces the root (no root on failure); Unpack reads a valid root and leaves it.
    virtual bool Pack(const char* format, ...);
    virtual bool Unpack(const char* format, ...) const;
    virtual bool PackV(const char* format, std::va_list args);
    virtual bool UnpackV(const char* format, std::va_list args) const;

    // The keys of an object in byte order; empty for anything else.
    virtual std::set<std::string> Keys() const;

    // Parses text, replacing the root; a failed parse leaves no root. True when a root came out.
    virtual bool Parse(const std::string& text, std::uint32_t flags = 0);
    virtual bool Parse(const char* text, std::uint32_t flags = 0);
    virtual bool Parse(const char* text, JsonError* error, std::uint32_t flags);
    virtual bool Parse(const char* buffer, std::size_t length, std::uint32_t flags);

    // Reads a file. A null stream or a null or empty path returns false and keeps the root;
    // otherwise the root is replaced, and a file that cannot be opened leaves no root.
    virtual bool Load(std::FILE* file, std::uint32_t flags = 0);
    virtual bool Load(const std::wstring& path, std::uint32_t flags = 0);
    virtual bool Load(const wchar_t* path, std::uint32_t flags = 0);
    virtual bool Load(const std::string& path, std::uint32_t flags = 0);
    virtual bool Load(const char* path, std::uint32_t flags = 0);

    // Text of the tree. Without kJsonEncodeAny the root must be an object or an array.
    // The char** form hands out the library's heap text, which the caller frees with free().
    virtual bool Dump(char** out, std::uint32_t flags) const;
    // Empty on failure.
    virtual std::string Dump(std::uint32_t flags = 0) const;
    // `out` is left as it was on failure.
    virtual bool Dump(std::string& out, std::uint32_t flags = 0) const;

    // Writes the text to a stream or a file (created or truncated, text mode). Without
    // kJsonEncodeAny the root must be an object or an array, else nothing is written.
    virtual bool Save(std::FILE* file, std::uint32_t flags = 0) const;
    virtual bool Save(const std::wstring& path, std::uint32_t flags = 0) const;
    virtual bool Save(const wchar_t* path, std::uint32_t flags = 0) const;
    virtual bool Save(const std::string& path, std::uint32_t flags = 0) const;
    virtual bool Save(const char* path, std::uint32_t flags = 0) const;

protected:
    // Takes over one reference on `root`.
    explicit Json(json_t* root);

private:
    template <class T>
    static auto ToFixedWidth(T value) noexcept {
        if constexpr (sizeof(T) <= sizeof(std::int32_t)) {
            return static_cast<std::int32_t>(value);
        } else {
            return static_cast<std::int64_t>(value);
        }
    }

    json_t* Root() const noexcept;
    // Makes `root` (one reference, may be null) the new root after dropping the old one.
    void ReplaceRoot(json_t* root) noexcept;
    bool SetMember(const std::string& key, json_t* value);
    bool SetElement(std::uint32_t index, json_t* value);
    bool AppendElement(json_t* value);
    bool ShareInto(json_t* member, Json& out) const;
    bool LoadPath(const wchar_t* path, std::uint32_t flags);
    bool SavePath(const wchar_t* path, std::uint32_t flags) const;

    json_impl* m_impl;
};

// A handle whose constructor makes a new empty object.
class JsonObject : public Json {
public:
    JsonObject();
};

// A handle whose constructor makes a new empty array.
class JsonArray : public Json {
public:
    JsonArray();
};

} // namespace cv
