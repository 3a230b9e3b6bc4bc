#include "nexilo/cv_value.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace cv {
namespace {

static_assert(sizeof(StringW) == sizeof(void*) && alignof(StringW) <= alignof(void*),
              "a key fits one slot");
static_assert(sizeof(Value) == sizeof(void*) && alignof(Value) <= alignof(void*),
              "a value fits one slot");

constexpr u32 kInitialCapacity = 8;
constexpr std::size_t kSlotSize = sizeof(void*);

// Exhausted memory is not reported by the tree; ending here beats writing through null.
void* CheckedMalloc(std::size_t size) {
    void* memory = std::malloc(size);
    if (memory == nullptr) {
        std::terminate();
    }
    return memory;
}

template <class Node, class... Args>
Node* NewNode(Args&&... args) {
    return new (CheckedMalloc(sizeof(Node))) Node(std::forward<Args>(args)...);
}

void DestroyNode(Value::BaseValue* node) noexcept {
    if (node != nullptr) {
        node->ScalarDeletingDestructor(0);
        std::free(node);
    }
}

template <class Node>
void* EndNode(Node* node, u32 flags) noexcept {
    node->~Node();
    if (flags & kCvDeleteMemory) {
        std::free(node);
    }
    return node;
}

ValueVector* NewVector() {
    auto* vector = static_cast<ValueVector*>(CheckedMalloc(sizeof(ValueVector)));
    vector->active = 1;
    vector->count = 0;
    vector->capacity = kInitialCapacity;
    vector->malloc_fn = &std::malloc;
    vector->realloc_fn = &std::realloc;
    vector->free_fn = &std::free;
    vector->items = static_cast<void**>(vector->malloc_fn(kInitialCapacity * kSlotSize));
    if (vector->items == nullptr) {
        std::terminate();
    }
    return vector;
}

// Destroys the contents of `count` slots of type T, then the slots and the record.
template <class T>
void FreeVector(ValueVector* vector) noexcept {
    for (u32 i = 0; i < vector->count; ++i) {
        std::launder(reinterpret_cast<T*>(&vector->items[i]))->~T();
    }
    vector->free_fn(vector->items);
    std::free(vector);
}

template <class T>
T& SlotAt(ValueVector* vector, u32 index) noexcept {
    return *std::launder(reinterpret_cast<T*>(&vector->items[index]));
}

// A free slot at the end, grown as needed; the caller constructs into it.
void* AddSlot(ValueVector* vector) {
    if (vector->count == vector->capacity) {
        u32 capacity = vector->capacity <= UINT32_MAX / 2 ? vector->capacity * 2 : UINT32_MAX;
        if (capacity == vector->capacity || std::size_t{capacity} > SIZE_MAX / kSlotSize) {
            std::terminate();
        }
        void* items = vector->realloc_fn(vector->items, capacity * kSlotSize);
        if (items == nullptr) {
            std::terminate();
        }
        vector->items = static_cast<void**>(items);
        vector->capacity = capacity;
    }
    return &vector->items[vector->count++];
}

const wchar_t* KeyText(const wchar_t* key) noexcept {
    return key != nullptr ? key : L"";
}

// Index of `key` in the dictionary, or -1.
std::int64_t FindKey(const Value::DictValue* dict, const wchar_t* key) noexcept {
    const std::size_t length = std::wcslen(key);
    for (u32 i = 0; i < dict->m_keys->count; ++i) {
        const StringW& slot = SlotAt<StringW>(dict->m_keys, i);
        if (slot.GetLength() == length && std::wmemcmp(slot.GetString(), key, length) == 0) {
            return i;
        }
    }
    return -1;
}

const wchar_t* TypeLabel(Value::Type type) noexcept {
    switch (type) {
        case Value::Type::kNull:
            return L"null";
        case Value::Type::kNumber:
            return L"number";
        case Value::Type::kBool:
            return L"bool";
        case Value::Type::kString:
            return L"string";
        case Value::Type::kArray:
            return L"array";
        case Value::Type::kDict:
            return L"object";
    }
    return L"unknown";
}

void AppendNumber(std::wstring& out, double number) {
    // The six significant digits of a stream's default format, without its locale.
    char digits[32];
    auto result =
        std::to_chars(digits, digits + sizeof(digits), number, std::chars_format::general, 6);
    out.append(digits, result.ptr);
}

void AppendString(std::wstring& out, const StringW& text) {
    out.append(text.GetString(), text.GetLength());
}

void AppendQuoted(std::wstring& out, const StringW& text) {
    out += L'"';
    AppendString(out, text);
    out += L'"';
}

void Render(std::wstring& out, const Value& value);

// Strings inside a container are quoted; everything else renders as at the top.
void RenderElement(std::wstring& out, const Value& value) {
    if (value.GetType() == Value::Type::kString) {
        AppendQuoted(out, value.AsString());
    } else {
        Render(out, value);
    }
}

void Render(std::wstring& out, const Value& value) {
    switch (value.GetType()) {
        case Value::Type::kNull:
            out += L"null";
            return;
        case Value::Type::kBool:
            out += value.ToBool() ? L"true" : L"false";
            return;
        case Value::Type::kNumber:
            AppendNumber(out, value.AsNumber());
            return;
        case Value::Type::kString:
            AppendString(out, value.AsString());
            return;
        case Value::Type::kArray: {
            out += L"[ ";
            for (u32 i = 0; i < value.Size(); ++i) {
                if (i != 0) {
                    out += L", ";
                }
                RenderElement(out, value.At(i));
            }
            out += L" ]";
            return;
        }
        case Value::Type::kDict: {
            std::vector<Value::Iterator> pairs;
            pairs.reserve(value.Size());
            for (auto it = value.Begin(); it != value.End(); ++it) {
                pairs.push_back(it);
            }
            std::stable_sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) {
                return a.Key().Compare(b.Key()) < 0;
            });
            out += L"{ ";
            bool first = true;
            for (const auto& pair : pairs) {
                if (!first) {
                    out += L", ";
                }
                first = false;
                AppendQuoted(out, pair.Key());
                out += L" : ";
                RenderElement(out, pair.GetValue());
            }
            out += L" }";
            return;
        }
    }
    out += L"unknown";
}

StringW ToStringW(const std::wstring& text) {
    return StringW(text.c_str(), static_cast<i32>(text.size()));
}

// The failing accessor's message: the value's text first, then its kind, then the exception.
[[noreturn]] void ThrowInvalidType(const Value& value, const wchar_t* expected,
                                   const wchar_t* actual) {
    StringW text = value.ToString();
    std::wstring message = L"exception: invalid type [";
    message += expected;
    message += L" != ";
    message += actual;
    message += L"], [";
    AppendString(message, text);
    message += L"]";
    throw ValueException(ToStringW(message));
}

[[noreturn]] void ThrowInvalidType(const Value& value, const wchar_t* expected) {
    ThrowInvalidType(value, expected, TypeLabel(value.GetType()));
}

[[noreturn]] void ThrowInvalidDictType(const Value& value, const wchar_t* key) {
    StringW text = value.ToString();
    std::wstring message = L"exception: invalid type [dict != ";
    message += TypeLabel(value.GetType());
    message += L"] for [key ";
    message += key;
    message += L"], [";
    AppendString(message, text);
    message += L"]";
    throw ValueException(ToStringW(message));
}

std::int64_t TruncateToInt64(double number) noexcept {
    // Out of range and NaN give the smallest integer, as the x86 conversion does.
    if (number >= -9223372036854775808.0 && number < 9223372036854775808.0) {
        return static_cast<std::int64_t>(number);
    }
    return INT64_MIN;
}

std::int32_t TruncateToInt32(double number) noexcept {
    if (number > -2147483649.0 && number < 2147483648.0) {
        return static_cast<std::int32_t>(number);
    }
    return INT32_MIN;
}

} // namespace

ValueException::ValueException(const StringW& message)
    : std::runtime_error([&message] {
          StringA narrow;
          message.ToUtf8(narrow);
          return std::string(narrow.GetString(), narrow.GetLength());
      }()) {}

Value::BaseValue::BaseValue() noexcept
    : malloc_fn(&std::malloc), realloc_fn(&std::realloc), free_fn(&std::free) {}

Value::NumberValue::~NumberValue() = default;

void* Value::NumberValue::ScalarDeletingDestructor(u32 flags) {
    return EndNode(this, flags);
}

Value::Type Value::NumberValue::GetType() const {
    return Type::kNumber;
}

Value::BoolValue::~BoolValue() = default;

void* Value::BoolValue::ScalarDeletingDestructor(u32 flags) {
    return EndNode(this, flags);
}

Value::Type Value::BoolValue::GetType() const {
    return Type::kBool;
}

Value::StringValue::StringValue(const wchar_t* text) : m_value(text) {}

Value::StringValue::StringValue(const StringW& text) : m_value(text) {
    m_value.Reserve(0);
}

Value::StringValue::StringValue(StringW&& text) : m_value(std::move(text)) {
    m_value.Reserve(0);
}

Value::StringValue::~StringValue() = default;

void* Value::StringValue::ScalarDeletingDestructor(u32 flags) {
    return EndNode(this, flags);
}

Value::Type Value::StringValue::GetType() const {
    return Type::kString;
}

Value::ArrayValue::ArrayValue() : m_items(NewVector()) {}

Value::ArrayValue::~ArrayValue() {
    FreeVector<Value>(m_items);
}

void* Value::ArrayValue::ScalarDeletingDestructor(u32 flags) {
    return EndNode(this, flags);
}

Value::Type Value::ArrayValue::GetType() const {
    return Type::kArray;
}

Value::DictValue::DictValue() : m_keys(NewVector()), m_values(NewVector()) {}

Value::DictValue::~DictValue() {
    FreeVector<Value>(m_values);
    FreeVector<StringW>(m_keys);
}

void* Value::DictValue::ScalarDeletingDestructor(u32 flags) {
    return EndNode(this, flags);
}

Value::Type Value::DictValue::GetType() const {
    return Type::kDict;
}

const StringW& Value::Iterator::Key() const {
    const auto* dict = static_cast<const DictValue*>(m_dict->m_node);
    return SlotAt<StringW>(dict->m_keys, m_index);
}

const Value& Value::Iterator::GetValue() const {
    const auto* dict = static_cast<const DictValue*>(m_dict->m_node);
    return SlotAt<Value>(dict->m_values, m_index);
}

Value::Value(Type type) {
    switch (type) {
        case Type::kNumber:
            m_node = NewNode<NumberValue>(0.0);
            break;
        case Type::kBool:
            m_node = NewNode<BoolValue>(false);
            break;
        case Type::kString:
            m_node = NewNode<StringValue>(L"");
            break;
        case Type::kArray:
            m_node = NewNode<ArrayValue>();
            break;
        case Type::kDict:
            m_node = NewNode<DictValue>();
            break;
        default:
            break;
    }
}

Value::Value(bool value) : m_node(NewNode<BoolValue>(value)) {}

Value::Value(std::int32_t value) : m_node(NewNode<NumberValue>(static_cast<double>(value))) {}

Value::Value(double value) : m_node(NewNode<NumberValue>(value)) {}

Value::Value(const wchar_t* text) : m_node(NewNode<StringValue>(text)) {}

Value::Value(const StringW& text) : m_node(NewNode<StringValue>(text)) {}

Value::Value(StringW&& text) : m_node(NewNode<StringValue>(std::move(text))) {}

Value::Value(const Value& other) {
    *this = other;
}

Value::Value(Value&& other) noexcept : m_node(std::exchange(other.m_node, nullptr)) {}

Value::~Value() {
    DestroyNode(m_node);
}

Value& Value::operator=(const Value& other) {
    if (this == &other) {
        return *this;
    }
    // Built aside first: `other` may live inside the tree being replaced.
    Value copy;
    switch (other.GetType()) {
        case Type::kNull:
            break;
        case Type::kNumber:
            copy.m_node = NewNode<NumberValue>(other.AsNumber());
            break;
        case Type::kBool:
            copy.m_node = NewNode<BoolValue>(other.ToBool());
            break;
        case Type::kString:
            copy.m_node = NewNode<StringValue>(other.AsString());
            break;
        case Type::kArray: {
            copy.m_node = NewNode<ArrayValue>();
            for (u32 i = 0; i < other.Size(); ++i) {
                copy.Append(other.At(i));
            }
            break;
        }
        case Type::kDict: {
            copy.m_node = NewNode<DictValue>();
            for (auto [key, value] : other) {
                copy[key.GetString()] = value;
            }
            break;
        }
    }
    std::swap(m_node, copy.m_node);
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    if (this != &other) {
        BaseValue* old = std::exchange(m_node, std::exchange(other.m_node, nullptr));
        DestroyNode(old);
    }
    return *this;
}

Value& Value::operator=(bool value) {
    if (m_node == nullptr) {
        m_node = NewNode<BoolValue>(value);
    } else if (GetType() == Type::kBool) {
        static_cast<BoolValue*>(m_node)->m_value = value ? 1 : 0;
    } else {
        ThrowInvalidType(*this, L"bool");
    }
    return *this;
}

Value& Value::operator=(std::int32_t value) {
    return *this = static_cast<double>(value);
}

Value& Value::operator=(double value) {
    if (m_node == nullptr) {
        m_node = NewNode<NumberValue>(value);
    } else if (GetType() == Type::kNumber) {
        static_cast<NumberValue*>(m_node)->m_value = value;
    } else {
        ThrowInvalidType(*this, L"number");
    }
    return *this;
}

Value& Value::operator=(const wchar_t* text) {
    if (m_node == nullptr) {
        m_node = NewNode<StringValue>(text);
    } else if (GetType() == Type::kString) {
        static_cast<StringValue*>(m_node)->m_value = text;
    } else {
        ThrowInvalidType(*this, L"string");
    }
    return *this;
}

Value& Value::operator=(const StringW& text) {
    if (m_node == nullptr) {
        m_node = NewNode<StringValue>(text);
    } else if (GetType() == Type::kString) {
        static_cast<StringValue*>(m_node)->m_value = text;
    } else {
        ThrowInvalidType(*this, L"string");
    }
    return *this;
}

void Value::Clear() noexcept {
    DestroyNode(std::exchange(m_node, nullptr));
}

Value::Type Value::GetType() const noexcept {
    return m_node != nullptr ? m_node->GetType() : Type::kNull;
}

StringW Value::GetTypeName() const {
    return StringW(TypeLabel(GetType()));
}

bool Value::ToBool() const {
    switch (GetType()) {
        case Type::kNull:
            return false;
        case Type::kBool:
            return static_cast<const BoolValue*>(m_node)->m_value != 0;
        case Type::kNumber:
            return static_cast<const NumberValue*>(m_node)->m_value != 0.0;
        case Type::kString:
            return static_cast<const StringValue*>(m_node)->m_value.GetLength() != 0;
        case Type::kArray:
            return static_cast<const ArrayValue*>(m_node)->m_items->count != 0;
        case Type::kDict:
            return static_cast<const DictValue*>(m_node)->m_keys->count != 0;
    }
    return false;
}

double Value::AsNumber() const {
    if (GetType() != Type::kNumber) {
        ThrowInvalidType(*this, L"number");
    }
    return static_cast<const NumberValue*>(m_node)->m_value;
}

std::int32_t Value::AsInt() const {
    if (GetType() != Type::kNumber) {
        ThrowInvalidType(*this, L"number", std::to_wstring(static_cast<int>(GetType())).c_str());
    }
    return TruncateToInt32(static_cast<const NumberValue*>(m_node)->m_value);
}

std::int64_t Value::AsInt64() const {
    if (GetType() != Type::kNumber) {
        ThrowInvalidType(*this, L"number", std::to_wstring(static_cast<int>(GetType())).c_str());
    }
    return TruncateToInt64(static_cast<const NumberValue*>(m_node)->m_value);
}

const StringW& Value::AsString() const {
    if (GetType() != Type::kString) {
        ThrowInvalidType(*this, L"string");
    }
    return static_cast<const StringValue*>(m_node)->m_value;
}

StringW& Value::AsString() {
    return const_cast<StringW&>(std::as_const(*this).AsString());
}

u32 Value::Size() const {
    switch (GetType()) {
        case Type::kArray:
            return static_cast<const ArrayValue*>(m_node)->m_items->count;
        case Type::kDict:
            return static_cast<const DictValue*>(m_node)->m_keys->count;
        default:
            break;
    }
    StringW text = ToString();
    std::wstring message = L"exception: invalid type[array|dict != ";
    message += TypeLabel(GetType());
    message += L"], [";
    AppendString(message, text);
    message += L"]";
    throw ValueException(ToStringW(message));
}

Value& Value::At(u32 index) {
    return const_cast<Value&>(std::as_const(*this).At(index));
}

const Value& Value::At(u32 index) const {
    if (GetType() != Type::kArray) {
        ThrowInvalidType(*this, L"array");
    }
    ValueVector* items = static_cast<const ArrayValue*>(m_node)->m_items;
    assert(index < items->count);
    return SlotAt<Value>(items, index);
}

Value& Value::Append(const Value& value) {
    // Copied before the slot array may move: `value` can be one of its elements.
    return Append(Value(value));
}

Value& Value::Append(Value&& value) {
    if (m_node == nullptr) {
        m_node = NewNode<ArrayValue>();
    } else if (GetType() != Type::kArray) {
        ThrowInvalidType(*this, L"array");
    }
    Value taken(std::move(value));
    ValueVector* items = static_cast<ArrayValue*>(m_node)->m_items;
    return *new (AddSlot(items)) Value(std::move(taken));
}

Value& Value::operator[](const wchar_t* key) {
    key = KeyText(key);
    if (m_node == nullptr) {
        m_node = NewNode<DictValue>();
    } else if (GetType() != Type::kDict) {
        ThrowInvalidDictType(*this, key);
    }
    auto* dict = static_cast<DictValue*>(m_node);
    std::int64_t found = FindKey(dict, key);
    if (found >= 0) {
        return SlotAt<Value>(dict->m_values, static_cast<u32>(found));
    }
    StringW copy(key);
    new (AddSlot(dict->m_keys)) StringW(std::move(copy));
    return *new (AddSlot(dict->m_values)) Value();
}

const Value& Value::At(const wchar_t* key) const {
    key = KeyText(key);
    if (GetType() != Type::kDict) {
        ThrowInvalidDictType(*this, key);
    }
    const auto* dict = static_cast<const DictValue*>(m_node);
    std::int64_t found = FindKey(dict, key);
    if (found < 0) {
        StringW text = ToString();
        std::wstring message = L"exception: key not found [";
        message += key;
        message += L"], [";
        AppendString(message, text);
        message += L"]";
        throw ValueException(ToStringW(message));
    }
    return SlotAt<Value>(dict->m_values, static_cast<u32>(found));
}

Value Value::Get(const wchar_t* key, Value fallback) const {
    key = KeyText(key);
    if (GetType() != Type::kDict) {
        ThrowInvalidDictType(*this, key);
    }
    const auto* dict = static_cast<const DictValue*>(m_node);
    std::int64_t found = FindKey(dict, key);
    if (found < 0) {
        return fallback;
    }
    return SlotAt<Value>(dict->m_values, static_cast<u32>(found));
}

bool Value::HasKey(const wchar_t* key) const {
    key = KeyText(key);
    if (GetType() != Type::kDict) {
        ThrowInvalidDictType(*this, key);
    }
    return FindKey(static_cast<const DictValue*>(m_node), key) >= 0;
}

Value::Iterator Value::Begin() const {
    if (GetType() != Type::kDict) {
        ThrowInvalidType(*this, L"dict");
    }
    return Iterator(this, 0);
}

Value::Iterator Value::End() const {
    if (GetType() != Type::kDict) {
        ThrowInvalidType(*this, L"dict");
    }
    return Iterator(this, static_cast<const DictValue*>(m_node)->m_keys->count);
}

StringW Value::ToString() const {
    std::wstring text;
    Render(text, *this);
    return ToStringW(text);
}

} // namespace cv
