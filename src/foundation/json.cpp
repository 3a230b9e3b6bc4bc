#include "foundation/json.h"

#include "platform/file_util.h"
#include "platform/utf8.h"

#include <jansson.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace cv {
namespace {

// The library's true, false and null are shared and never counted.
constexpr std::size_t kImmortalCount = static_cast<std::size_t>(-1);

std::size_t DecodingFlags(std::uint32_t flags) noexcept {
    std::size_t result = 0;
    if (flags & kJsonRejectDuplicates) {
        result |= JSON_REJECT_DUPLICATES;
    }
    if (flags & kJsonDisableEofCheck) {
        result |= JSON_DISABLE_EOF_CHECK;
    }
    if (flags & kJsonDecodeAny) {
        result |= JSON_DECODE_ANY;
    }
    if (flags & kJsonDecodeIntAsReal) {
        result |= JSON_DECODE_INT_AS_REAL;
    }
    if (flags & kJsonAllowNul) {
        result |= JSON_ALLOW_NUL;
    }
    return result;
}

std::size_t EncodingFlags(std::uint32_t flags) noexcept {
    std::size_t result = 0;
    if (flags & kJsonCompact) {
        result |= JSON_COMPACT;
    }
    if (flags & kJsonEnsureAscii) {
        result |= JSON_ENSURE_ASCII;
    }
    if (flags & kJsonSortKeys) {
        result |= JSON_SORT_KEYS;
    }
    if (flags & kJsonPreserveOrder) {
        result |= JSON_PRESERVE_ORDER;
    }
    if (flags & kJsonEncodeAny) {
        result |= JSON_ENCODE_ANY;
    }
    if (flags & kJsonEscapeSlash) {
        result |= JSON_ESCAPE_SLASH;
    }
    return result;
}

// `long` is 32 bits on Windows and 64 bits on LP64 systems: its forms join the matching body.
template <class T>
auto AsSetForm(T value) noexcept {
    if constexpr (sizeof(T) <= sizeof(int)) {
        return static_cast<int>(value);
    } else {
        return static_cast<long long>(value);
    }
}

std::int32_t LowHalf(json_int_t value) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

// The UTF-8 form of a wide text (up to its first zero); null for a null text.
json_t* NewWideString(const wchar_t* text) {
    if (text == nullptr) {
        return nullptr;
    }
    std::string narrow = platform::WideToUtf8(text);
    return json_stringn(narrow.data(), narrow.size());
}

std::wstring Utf8ToWide(const char* text, std::size_t length) {
    return platform::Utf8ToWide(std::string_view(text, length));
}

// A wide path from a UTF-8 one; empty for a null path.
std::wstring Utf8Path(const char* path) {
    return path != nullptr ? platform::Utf8ToWide(path) : std::wstring();
}

// A format token that is exactly "o" hands the argument's reference to the library, which would
// leave the caller's handle dangling.
bool TakesOverReference(const char* format) noexcept {
    if (format == nullptr) {
        return false;
    }
    constexpr const char* kDelimiters = "{[]},: \t";
    const char* p = format;
    while (*p != '\0') {
        p += std::strspn(p, kDelimiters);
        std::size_t length = std::strcspn(p, kDelimiters);
        if (length == 1 && *p == 'o') {
            return true;
        }
        p += length;
    }
    return false;
}

int AppendToString(const char* buffer, std::size_t size, void* data) {
    static_cast<std::string*>(data)->append(buffer, size);
    return 0;
}

} // namespace

json_impl::~json_impl() {
    json_decref(m_root);
}

Json::Json() : m_impl(new json_impl()) {}

Json::Json(json_t* root) : m_impl(new json_impl(root)) {}

Json::Json(const Json& other) : m_impl(new json_impl(json_incref(other.Root()))) {}

Json::Json(bool value) : Json(value ? json_true() : json_false()) {}

Json::Json(std::int32_t value) : Json(json_integer(value)) {}

Json::Json(std::int64_t value) : Json(json_integer(value)) {}

Json::Json(const char* text) : Json(text != nullptr ? json_string(text) : nullptr) {}

Json& Json::operator=(const Json& other) {
    if (this != &other && other.IsValid()) {
        ReplaceRoot(json_incref(other.Root()));
    }
    return *this;
}

Json::~Json() {
    delete m_impl;
}

json_t* Json::Root() const noexcept {
    return m_impl != nullptr ? m_impl->m_root : nullptr;
}

void Json::ReplaceRoot(json_t* root) noexcept {
    if (m_impl == nullptr) {
        json_decref(root);
        return;
    }
    json_t* old = m_impl->m_root;
    m_impl->m_root = root;
    json_decref(old);
}

std::int32_t Json::AddRef() {
    json_t* root = Root();
    if (root == nullptr) {
        return -1;
    }
    if (root->refcount == kImmortalCount) {
        return 0;
    }
    json_incref(root);
    return static_cast<std::int32_t>(root->refcount);
}

std::int32_t Json::DecRef() {
    json_t* root = Root();
    if (root == nullptr) {
        return -1;
    }
    if (root->refcount == kImmortalCount) {
        return -2;
    }
    auto count = static_cast<std::int32_t>(root->refcount) - 1;
    if (count == 0) {
        // The tree goes with the last reference; the handle must not keep pointing at it.
        m_impl->m_root = nullptr;
    }
    json_decref(root);
    return count;
}

std::int32_t Json::RefCount() const {
    json_t* root = Root();
    if (root == nullptr || root->refcount == kImmortalCount) {
        return -1;
    }
    return static_cast<std::int32_t>(root->refcount);
}

void Json::Reset() {
    ReplaceRoot(nullptr);
}

bool Json::IsValid() const {
    return Root() != nullptr;
}

bool Json::IsObject() const {
    return json_is_object(Root());
}

bool Json::IsArray() const {
    return json_is_array(Root());
}

bool Json::IsString() const {
    return json_is_string(Root());
}

bool Json::IsInteger() const {
    return json_is_integer(Root());
}

bool Json::IsReal() const {
    return json_is_real(Root());
}

bool Json::IsNumber() const {
    return json_is_number(Root());
}

bool Json::IsBool() const {
    return json_is_boolean(Root());
}

bool Json::IsTrue() const {
    return json_is_true(Root());
}

bool Json::IsFalse() const {
    return json_is_false(Root());
}

bool Json::IsNull() const {
    return json_is_null(Root());
}

void Json::Assign(const Json& other) {
    *this = other;
}

void Json::SetNull() {
    ReplaceRoot(json_null());
}

bool Json::Get(const std::string& key, std::int64_t& out) const {
    json_t* member = json_object_getn(Root(), key.data(), key.size());
    if (!json_is_integer(member)) {
        return false;
    }
    out = json_integer_value(member);
    return true;
}

bool Json::Get(const std::string& key, std::int32_t& out) const {
    json_t* member = json_object_getn(Root(), key.data(), key.size());
    if (!json_is_integer(member)) {
        return false;
    }
    out = LowHalf(json_integer_value(member));
    return true;
}

bool Json::Get(const std::string& key, std::uint32_t& out) const {
    std::int32_t value = 0;
    if (!Get(key, value)) {
        return false;
    }
    out = static_cast<std::uint32_t>(value);
    return true;
}

bool Json::Get(const std::string& key, std::wstring& out) const {
    json_t* member = json_object_getn(Root(), key.data(), key.size());
    if (!json_is_string(member)) {
        return false;
    }
    out = Utf8ToWide(json_string_value(member), json_string_length(member));
    return true;
}

bool Json::Get(const std::string& key, std::string& out) const {
    json_t* member = json_object_getn(Root(), key.data(), key.size());
    if (!json_is_string(member)) {
        return false;
    }
    out.assign(json_string_value(member), json_string_length(member));
    return true;
}

bool Json::Get(const std::string& key, bool& out) const {
    json_t* member = json_object_getn(Root(), key.data(), key.size());
    if (!json_is_boolean(member)) {
        return false;
    }
    out = json_is_true(member);
    return true;
}

bool Json::Get(const std::string& key, Json& out) const {
    return ShareInto(json_object_getn(Root(), key.data(), key.size()), out);
}

bool Json::ShareInto(json_t* member, Json& out) const {
    if (member == nullptr || &out == this || out.m_impl == nullptr) {
        return false;
    }
    out.ReplaceRoot(json_incref(member));
    return true;
}

Json Json::Get(const std::string& key) const {
    return Json(json_incref(json_object_getn(Root(), key.data(), key.size())));
}

Json Json::At(std::uint32_t index) const {
    return Json(json_incref(json_array_get(Root(), index)));
}

bool Json::At(std::uint32_t index, Json& out) const {
    return ShareInto(json_array_get(Root(), index), out);
}

bool Json::Get(std::wstring& out) const {
    json_t* root = Root();
    if (!json_is_string(root)) {
        return false;
    }
    out = Utf8ToWide(json_string_value(root), json_string_length(root));
    return true;
}

bool Json::Get(std::string& out) const {
    json_t* root = Root();
    if (!json_is_string(root)) {
        return false;
    }
    out.assign(json_string_value(root), json_string_length(root));
    return true;
}

bool Json::Get(double& out) const {
    json_t* root = Root();
    if (!json_is_real(root)) {
        return false;
    }
    out = json_real_value(root);
    return true;
}

bool Json::Get(std::int64_t& out) const {
    json_t* root = Root();
    if (!json_is_integer(root)) {
        return false;
    }
    out = json_integer_value(root);
    return true;
}

bool Json::Get(std::int32_t& out) const {
    json_t* root = Root();
    if (!json_is_integer(root)) {
        return false;
    }
    out = LowHalf(json_integer_value(root));
    return true;
}

bool Json::Get(std::uint32_t& out) const {
    std::int32_t value = 0;
    if (!Get(value)) {
        return false;
    }
    out = static_cast<std::uint32_t>(value);
    return true;
}

bool Json::Get(bool& out) const {
    json_t* root = Root();
    if (!json_is_boolean(root)) {
        return false;
    }
    out = json_is_true(root);
    return true;
}

bool Json::AsBool() const {
    return json_is_true(Root());
}

bool Json::SetMember(const std::string& key, json_t* value) {
    json_t* root = Root();
    if (!json_is_object(root)) {
        json_decref(value);
        return false;
    }
    // Checks the key's UTF-8 and takes over the value's reference even when it fails.
    return json_object_setn_new(root, key.data(), key.size(), value) == 0;
}

bool Json::Set(const std::string& key, const Json& value) {
    return SetMember(key, json_incref(value.Root()));
}

bool Json::Set(const std::string& key, const std::wstring& value) {
    return SetMember(key, NewWideString(value.c_str()));
}

bool Json::Set(const std::string& key, const wchar_t* value) {
    return value != nullptr && SetMember(key, NewWideString(value));
}

bool Json::Set(const std::string& key, const std::string& value) {
    return SetMember(key, json_stringn(value.data(), value.size()));
}

bool Json::Set(const std::string& key, const char* value) {
    return SetMember(key, value != nullptr ? json_string(value) : nullptr);
}

bool Json::Set(const std::string& key, double value) {
    return SetMember(key, json_real(value));
}

bool Json::Set(const std::string& key, long long value) {
    return SetMember(key, json_integer(value));
}

bool Json::Set(const std::string& key, unsigned long long value) {
    return Set(key, static_cast<long long>(value));
}

bool Json::Set(const std::string& key, int value) {
    return SetMember(key, json_integer(value));
}

bool Json::Set(const std::string& key, unsigned int value) {
    return Set(key, static_cast<int>(value));
}

bool Json::Set(const std::string& key, long value) {
    return Set(key, AsSetForm(value));
}

bool Json::Set(const std::string& key, unsigned long value) {
    return Set(key, AsSetForm(value));
}

bool Json::Set(const std::string& key, bool value) {
    return SetMember(key, json_boolean(value));
}

bool Json::SetElement(std::uint32_t index, json_t* value) {
    json_t* root = Root();
    if (!json_is_array(root) || index >= json_array_size(root)) {
        json_decref(value);
        return false;
    }
    return json_array_set_new(root, index, value) == 0;
}

bool Json::SetAt(std::uint32_t index, const Json& value) {
    return SetElement(index, json_incref(value.Root()));
}

bool Json::SetAt(std::uint32_t index, const std::wstring& value) {
    return SetElement(index, NewWideString(value.c_str()));
}

bool Json::SetAt(std::uint32_t index, const wchar_t* value) {
    return value != nullptr && SetElement(index, NewWideString(value));
}

bool Json::SetAt(std::uint32_t index, const std::string& value) {
    return SetElement(index, json_stringn(value.data(), value.size()));
}

bool Json::SetAt(std::uint32_t index, const char* value) {
    return SetElement(index, value != nullptr ? json_string(value) : nullptr);
}

bool Json::SetAt(std::uint32_t index, double value) {
    return SetElement(index, json_real(value));
}

bool Json::SetAt(std::uint32_t index, long long value) {
    return SetElement(index, json_integer(value));
}

bool Json::SetAt(std::uint32_t index, unsigned long long value) {
    return SetAt(index, static_cast<long long>(value));
}

bool Json::SetAt(std::uint32_t index, int value) {
    return SetElement(index, json_integer(value));
}

bool Json::SetAt(std::uint32_t index, unsigned int value) {
    return SetAt(index, static_cast<int>(value));
}

bool Json::SetAt(std::uint32_t index, long value) {
    return SetAt(index, AsSetForm(value));
}

bool Json::SetAt(std::uint32_t index, unsigned long value) {
    return SetAt(index, AsSetForm(value));
}

bool Json::SetAt(std::uint32_t index, bool value) {
    return SetElement(index, json_boolean(value));
}

bool Json::Set(const char* value) {
    ReplaceRoot(value != nullptr ? json_string(value) : nullptr);
    return IsValid();
}

bool Json::Set(const std::string& value) {
    ReplaceRoot(json_stringn(value.data(), value.size()));
    return IsValid();
}

bool Json::Set(double value) {
    ReplaceRoot(json_real(value));
    return IsValid();
}

bool Json::Set(long long value) {
    ReplaceRoot(json_integer(value));
    return IsValid();
}

bool Json::Set(unsigned long long value) {
    return Set(static_cast<long long>(value));
}

bool Json::Set(int value) {
    ReplaceRoot(json_integer(value));
    return IsValid();
}

bool Json::Set(unsigned int value) {
    return Set(static_cast<int>(value));
}

bool Json::Set(long value) {
    return Set(AsSetForm(value));
}

bool Json::Set(unsigned long value) {
    return Set(AsSetForm(value));
}

bool Json::Set(bool value) {
    ReplaceRoot(json_boolean(value));
    return IsValid();
}

std::int32_t Json::AsInt() const {
    json_t* root = Root();
    return json_is_integer(root) ? LowHalf(json_integer_value(root)) : 0;
}

std::int64_t Json::AsInt64() const {
    json_t* root = Root();
    return json_is_integer(root) ? json_integer_value(root) : 0;
}

std::uint64_t Json::AsUInt64() const {
    return static_cast<std::uint64_t>(AsInt64());
}

std::int32_t Json::AsInt32() const {
    std::int32_t value = 0;
    return Get(value) ? value : 0;
}

double Json::AsReal() const {
    json_t* root = Root();
    return json_is_real(root) ? json_real_value(root) : 0.0;
}

char* Json::DupString(char** out) const {
    json_t* root = Root();
    if (!json_is_string(root)) {
        return nullptr;
    }
    std::size_t length = json_string_length(root);
    auto* copy = static_cast<char*>(std::malloc(length + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    std::memcpy(copy, json_string_value(root), length);
    copy[length] = '\0';
    if (out != nullptr) {
        *out = copy;
    }
    return copy;
}

const char* Json::GetCString(const char** out) const {
    const char* text = json_string_value(Root());
    if (text != nullptr && out != nullptr) {
        *out = text;
    }
    return text;
}

std::string Json::AsString() const {
    const char* text = json_string_value(Root());
    return text != nullptr ? std::string(text) : std::string();
}

bool Json::AppendElement(json_t* value) {
    json_t* root = Root();
    if (!json_is_array(root)) {
        json_decref(value);
        return false;
    }
    return json_array_append_new(root, value) == 0;
}

bool Json::Append(const Json& value) {
    return AppendElement(json_incref(value.Root()));
}

bool Json::Append(const std::wstring& value) {
    return AppendElement(NewWideString(value.c_str()));
}

bool Json::Append(const wchar_t* value) {
    return value != nullptr && AppendElement(NewWideString(value));
}

bool Json::Append(const std::string& value) {
    return AppendElement(json_stringn(value.data(), value.size()));
}

bool Json::Append(const char* value) {
    return AppendElement(value != nullptr ? json_string(value) : nullptr);
}

bool Json::Append(double value) {
    return AppendElement(json_real(value));
}

bool Json::Append(long long value) {
    return AppendElement(json_integer(value));
}

bool Json::Append(unsigned long long value) {
    return Append(static_cast<long long>(value));
}

bool Json::Append(int value) {
    return AppendElement(json_integer(value));
}

bool Json::Append(unsigned int value) {
    return Append(static_cast<int>(value));
}

bool Json::Append(long value) {
    return Append(AsSetForm(value));
}

bool Json::Append(unsigned long value) {
    return Append(AsSetForm(value));
}

bool Json::Append(bool value) {
    return AppendElement(json_boolean(value));
}

std::uint32_t Json::Size() const {
    json_t* root = Root();
    if (json_is_array(root)) {
        return static_cast<std::uint32_t>(json_array_size(root));
    }
    if (json_is_object(root)) {
        return static_cast<std::uint32_t>(json_object_size(root));
    }
    return 0;
}

json_t* Json::Handle() const {
    return Root();
}

json_t** Json::HandleAddress() {
    return m_impl != nullptr ? &m_impl->m_root : nullptr;
}

bool Json::Pack(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    bool result = PackV(format, args);
    va_end(args);
    return result;
}

bool Json::Unpack(const char* format, ...) const {
    std::va_list args;
    va_start(args, format);
    bool result = UnpackV(format, args);
    va_end(args);
    return result;
}

bool Json::PackV(const char* format, std::va_list args) {
    if (TakesOverReference(format)) {
        return false;
    }
    // Built before the old root goes, so a format may still take ("O") a part of it.
    ReplaceRoot(json_vpack_ex(nullptr, 0, format, args));
    return IsValid();
}

bool Json::UnpackV(const char* format, std::va_list args) const {
    if (TakesOverReference(format) || !IsValid()) {
        return false;
    }
    return json_vunpack_ex(Root(), nullptr, 0, format, args) == 0;
}

std::set<std::string> Json::Keys() const {
    std::set<std::string> keys;
    json_t* root = Root();
    if (!json_is_object(root)) {
        return keys;
    }
    for (void* it = json_object_iter(root); it != nullptr; it = json_object_iter_next(root, it)) {
        keys.emplace(json_object_iter_key(it), json_object_iter_key_len(it));
    }
    return keys;
}

bool Json::Parse(const std::string& text, std::uint32_t flags) {
    return Parse(text.data(), text.size(), flags);
}

bool Json::Parse(const char* text, std::uint32_t flags) {
    json_error_t error;
    ReplaceRoot(json_loads(text, DecodingFlags(flags), &error));
    return IsValid();
}

bool Json::Parse(const char* text, JsonError* error, std::uint32_t flags) {
    json_error_t details;
    ReplaceRoot(json_loads(text, DecodingFlags(flags), &details));
    bool parsed = IsValid();
    if (error != nullptr) {
        *error = JsonError();
        if (!parsed) {
            error->line = details.line;
            error->column = details.column;
            error->position = details.position;
            error->source = details.source;
            error->text = details.text;
        }
    }
    return parsed;
}

bool Json::Parse(const char* buffer, std::size_t length, std::uint32_t flags) {
    json_error_t error;
    ReplaceRoot(json_loadb(buffer, length, DecodingFlags(flags), &error));
    return IsValid();
}

bool Json::Load(std::FILE* file, std::uint32_t flags) {
    if (file == nullptr) {
        return false;
    }
    json_error_t error;
    ReplaceRoot(json_loadf(file, DecodingFlags(flags), &error));
    return IsValid();
}

bool Json::LoadPath(const wchar_t* path, std::uint32_t flags) {
    if (path == nullptr || *path == L'\0') {
        return false;
    }
    Reset();
    platform::OpenFileResult opened = platform::OpenTextFile(path, platform::TextFileMode::kRead);
    if (!opened.file) {
        return false;
    }
    return Load(opened.file.get(), flags);
}

bool Json::Load(const std::wstring& path, std::uint32_t flags) {
    return LoadPath(path.c_str(), flags);
}

bool Json::Load(const wchar_t* path, std::uint32_t flags) {
    return LoadPath(path, flags);
}

bool Json::Load(const std::string& path, std::uint32_t flags) {
    return Load(path.c_str(), flags);
}

bool Json::Load(const char* path, std::uint32_t flags) {
    return LoadPath(Utf8Path(path).c_str(), flags);
}

bool Json::Dump(char** out, std::uint32_t flags) const {
    if (out == nullptr) {
        return false;
    }
    json_t* root = Root();
    *out = root != nullptr ? json_dumps(root, EncodingFlags(flags)) : nullptr;
    return *out != nullptr;
}

std::string Json::Dump(std::uint32_t flags) const {
    std::string text;
    Dump(text, flags);
    return text;
}

bool Json::Dump(std::string& out, std::uint32_t flags) const {
    json_t* root = Root();
    if (root == nullptr) {
        return false;
    }
    std::string text;
    if (json_dump_callback(root, AppendToString, &text, EncodingFlags(flags)) != 0) {
        return false;
    }
    out.swap(text);
    return true;
}

bool Json::Save(std::FILE* file, std::uint32_t flags) const {
    json_t* root = Root();
    if (file == nullptr || root == nullptr) {
        return false;
    }
    return json_dumpf(root, file, EncodingFlags(flags)) == 0;
}

bool Json::SavePath(const wchar_t* path, std::uint32_t flags) const {
    if (path == nullptr || *path == L'\0' || !IsValid()) {
        return false;
    }
    // Refused before the file is opened, so a save that cannot succeed leaves the file alone.
    if (!(flags & kJsonEncodeAny) && !IsObject() && !IsArray()) {
        return false;
    }
    platform::OpenFileResult opened = platform::OpenTextFile(path, platform::TextFileMode::kWrite);
    if (!opened.file) {
        return false;
    }
    bool written = Save(opened.file.get(), flags);
    return std::fclose(opened.file.release()) == 0 && written;
}

bool Json::Save(const std::wstring& path, std::uint32_t flags) const {
    return SavePath(path.c_str(), flags);
}

bool Json::Save(const wchar_t* path, std::uint32_t flags) const {
    return SavePath(path, flags);
}

bool Json::Save(const std::string& path, std::uint32_t flags) const {
    return Save(path.c_str(), flags);
}

bool Json::Save(const char* path, std::uint32_t flags) const {
    return SavePath(Utf8Path(path).c_str(), flags);
}

JsonObject::JsonObject() : Json(json_object()) {}

JsonArray::JsonArray() : Json(json_array()) {}

} // namespace cv
