// cv::Value: the dynamic value that the system passes around: null, number, bool, string, array,
// dictionary.
//
// Contract:
// - Ownership: a Value owns its node exclusively. Copies are deep (no sharing, no reference
//   count); a move takes the node and leaves the source null. A null Value has no node at all.
// - Nodes are allocated with malloc and placement new and released through slot 0 of their table
//   (ScalarDeletingDestructor(0), MSVC's shape, see cv_base.h) and plain free; vector slots come
//   from the allocator entry points kept in the vector. The code of a node (its virtual table)
//   lives in the module that made it: a value made inside a module must be destroyed before that
//   module unloads, and so must every cv::StringT it holds.
// - Module border: a node, a vector record and a string record made by one module may be freed
//   by another with plain free or delete, so modules that pass values must share the C runtime's
//   heap. A node's fields and the vectors are laid out alike by MSVC and GCC.
// - Kinds: only assignment of another Value, Clear, and the typed setters, operator[] and Append
//   on a null value change the kind of a value. Misuse by kind throws cv::ValueException with a
//   text that quotes the value (its ToString), and leaves the value as it was. Exhausted memory
//   ends the process.
// - Dictionaries keep the order in which keys were first inserted and are searched linearly; keys
//   compare exactly by code unit. A null key pointer is the empty key. Nothing removes a key or an
//   element.
// - References returned by At, operator[] and Append stay good only until the next insertion into
//   the same array or dictionary.
// - Threads: none; a value belongs to one thread at a time.
// - Per system: the wide text holds UTF-16 code units on Windows and code points on Linux, so
//   key order by code unit differs between the two only for characters beyond U+FFFF.
#pragma once

#include "nexilo/cv_base.h"
#include "nexilo/cv_string.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace cv {

// Thrown on misuse of a value by kind; what() is the message in UTF-8.
struct ValueException : public std::runtime_error {
    explicit ValueException(const StringW& message);
};

using MallocFn = void* (*)(std::size_t);
using ReallocFn = void* (*)(void*, std::size_t);
using FreeFn = void (*)(void*);

// The growable slot array of arrays and dictionaries. Every slot is one pointer wide and holds
// exactly one cv::Value or one cv::StringT. Capacity starts at 8 and doubles when full.
struct ValueVector {
    u8 active;    // 1 from creation on
    u32 count;    // slots in use
    u32 capacity; // slots allocated
    void** items;
    MallocFn malloc_fn; // the entry points that manage `items`
    ReallocFn realloc_fn;
    FreeFn free_fn;
};

class Value {
public:
    // The type codes; GetTypeName gives "null", "number", "bool", "string", "array", "object".
    enum class Type : std::int32_t {
        kNull = 0,
        kNumber = 1,
        kBool = 2,
        kString = 3,
        kArray = 4,
        kDict = 5,
    };

    // The abstract node. The order of the virtual operations is part of the ABI.
    class BaseValue {
    public:
        BaseValue(const BaseValue&) = delete;
        BaseValue& operator=(const BaseValue&) = delete;
        // slot 0: ends the node's life; with kCvDeleteMemory also frees it with free. Returns
        // the node.
        virtual void* ScalarDeletingDestructor(std::uint32_t flags) = 0;
        // slot 1
        virtual Type GetType() const = 0;

        // The creating module's allocator, recorded at creation and never called through.
        MallocFn malloc_fn;
        ReallocFn realloc_fn;
        FreeFn free_fn;

    protected:
        BaseValue() noexcept;
        ~BaseValue() = default;
    };

    class NumberValue final : public BaseValue {
    public:
        explicit NumberValue(double value) noexcept : m_value(value) {}
        ~NumberValue();
        void* ScalarDeletingDestructor(std::uint32_t flags) override;
        Type GetType() const override;
        double m_value;
    };

    class BoolValue final : public BaseValue {
    public:
        explicit BoolValue(bool value) noexcept : m_value(value ? 1 : 0) {}
        ~BoolValue();
        void* ScalarDeletingDestructor(std::uint32_t flags) override;
        Type GetType() const override;
        u8 m_value;
    };

    // Its string always has a reserved buffer.
    class StringValue final : public BaseValue {
    public:
        explicit StringValue(const wchar_t* text);
        explicit StringValue(const StringW& text);
        explicit StringValue(StringW&& text);
        ~StringValue();
        void* ScalarDeletingDestructor(std::uint32_t flags) override;
        Type GetType() const override;
        StringW m_value;
    };

    // Slots of cv::Value.
    class ArrayValue final : public BaseValue {
    public:
        ArrayValue();
        ~ArrayValue();
        void* ScalarDeletingDestructor(std::uint32_t flags) override;
        Type GetType() const override;
        ValueVector* m_items;
    };

    // Slot i of the keys (cv::StringT) belongs to slot i of the values (cv::Value).
    class DictValue final : public BaseValue {
    public:
        DictValue();
        ~DictValue();
        void* ScalarDeletingDestructor(std::uint32_t flags) override;
        Type GetType() const override;
        ValueVector* m_keys;
        ValueVector* m_values;
    };

    // Walks the pairs of a dictionary in insertion order.
    class Iterator {
    public:
        struct Entry {
            const StringW& key;
            const Value& value;
        };

        Iterator(const Value* dict, u32 index) noexcept : m_dict(dict), m_index(index) {}
        const StringW& Key() const;
        const Value& GetValue() const;
        Entry operator*() const { return Entry{Key(), GetValue()}; }
        Iterator& operator++() noexcept {
            ++m_index;
            return *this;
        }
        Iterator operator++(int) noexcept {
            Iterator before = *this;
            ++m_index;
            return before;
        }
        bool operator==(const Iterator& other) const noexcept = default;

    private:
        const Value* m_dict;
        u32 m_index;
    };

    Value() noexcept = default;
    // An empty node of the kind; any other code gives null. Numbers start at 0, bools false.
    explicit Value(Type type);
    Value(bool value);
    Value(std::int32_t value);
    Value(double value);
    // A null text gives the empty string.
    Value(const wchar_t* text);
    Value(const StringW& text);
    // Takes the buffer when both strings share a memory manager, else copies.
    Value(StringW&& text);
    // Narrow text would otherwise turn into a bool.
    Value(const char*) = delete;
    Value(const Value& other);
    Value(Value&& other) noexcept;
    ~Value();

    // Deep copy; nothing on self-assignment.
    Value& operator=(const Value& other);
    // Takes the node; nothing on self-assignment.
    Value& operator=(Value&& other) noexcept;
    // Typed setters: a null value takes the kind, a value of the same kind is overwritten, any
    // other kind throws.
    Value& operator=(bool value);
    Value& operator=(std::int32_t value);
    Value& operator=(double value);
    Value& operator=(const wchar_t* text);
    Value& operator=(const StringW& text);
    Value& operator=(const char*) = delete;

    // Destroys the node; the value becomes null.
    void Clear() noexcept;

    Type GetType() const noexcept;
    StringW GetTypeName() const;
    // Null false; a bool its value; a number unless it equals zero (NaN is true); a string unless
    // it is empty; an array or dictionary unless it is empty.
    bool ToBool() const;
    double AsNumber() const;
    // Truncated toward zero; NaN and numbers out of range give the smallest integer of the width.
    std::int32_t AsInt() const;
    std::int64_t AsInt64() const;
    const StringW& AsString() const;
    StringW& AsString();
    // Elements of an array or pairs of a dictionary.
    u32 Size() const;
    // Element `index` of an array; the index must be below Size().
    Value& At(u32 index);
    const Value& At(u32 index) const;
    // Appends a copy (or takes the node) and returns the new last element; a null value first
    // becomes an empty array.
    Value& Append(const Value& value);
    Value& Append(Value&& value);
    // The value under `key`, appended as null when absent; a null value first becomes an empty
    // dictionary.
    Value& operator[](const wchar_t* key);
    // The value under `key`; throws when it is absent.
    const Value& At(const wchar_t* key) const;
    // A copy of the value under `key`, or `fallback` itself when the key is absent.
    Value Get(const wchar_t* key, Value fallback) const;
    bool HasKey(const wchar_t* key) const;
    Iterator Begin() const;
    Iterator End() const;
    Iterator begin() const { return Begin(); }
    Iterator end() const { return End(); }
    // A human-readable text for messages and logs, not for interchange: numbers with six
    // significant digits, dictionaries in key order, nothing escaped.
    StringW ToString() const;

private:
    BaseValue* m_node = nullptr;
};

static_assert(sizeof(Value) == sizeof(void*), "a value is one pointer");

} // namespace cv
