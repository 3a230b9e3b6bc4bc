#include "platform/registry.h"

#include "platform/posix/utf8_locale.h"
#include "platform/unique_resource.h"

#include <fcntl.h>
#include <locale.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>
#include <wctype.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <system_error>
#include <utility>

namespace platform {

namespace {

// The first line of every store file; a file that starts otherwise is not ours to rewrite.
constexpr std::string_view kHeader = "nexilo-registry 1";
// A store file above this size is taken for something else rather than read into memory.
constexpr std::size_t kMaxFileSize = 64u << 20;

constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericExecute = 0x20000000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kMaximumAllowed = 0x02000000;

// --- Names -------------------------------------------------------------------------------------

wchar_t FoldChar(wchar_t c) {
    if (c < 0x80) {
        return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - (L'a' - L'A')) : c;
    }
    // Windows upper-cases UTF-16 units, so characters beyond the BMP never fold there.
    if (static_cast<std::uint32_t>(c) > 0xFFFF) {
        return c;
    }
    // The process locale must not change what a name matches, so the fold uses a locale of its
    // own; without C.UTF-8 only ASCII folds.
    const locale_t utf8 = posix::Utf8CtypeLocale();
    if (utf8 == static_cast<locale_t>(0)) {
        return c;
    }
    return static_cast<wchar_t>(towupper_l(static_cast<wint_t>(c), utf8));
}

bool SameName(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i] && FoldChar(a[i]) != FoldChar(b[i])) {
            return false;
        }
    }
    return true;
}

std::wstring_view UpToNul(std::wstring_view name) {
    return name.substr(0, name.find(L'\0'));
}

ErrorCode SplitPath(std::wstring_view path, std::vector<std::wstring>& parts) {
    path = UpToNul(path);
    if (!path.empty() && path.front() == L'\\') {
        return kErrorBadPathname;
    }
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t end = path.find(L'\\', start);
        if (end == std::wstring_view::npos) {
            end = path.size();
        }
        if (end > start) {
            parts.emplace_back(path.substr(start, end - start));
        }
        start = end + 1;
    }
    return kErrorSuccess;
}

std::uint32_t GrantedRights(std::uint32_t access) {
    if (access & (kGenericRead | kGenericExecute)) {
        access |= kKeyRead;
    }
    if (access & kGenericWrite) {
        access |= kKeyWrite;
    }
    if (access & (kGenericAll | kMaximumAllowed)) {
        access |= kKeyAllAccess;
    }
    return access;
}

// --- The tree ----------------------------------------------------------------------------------

struct Value {
    std::wstring name;
    std::uint32_t type = kRegNone;
    std::vector<std::byte> data;
};

struct Key {
    std::wstring name;
    std::vector<Value> values;
    std::vector<Key> children;
};

Key* FindChild(Key& key, std::wstring_view name) {
    for (Key& child : key.children) {
        if (SameName(child.name, name)) {
            return &child;
        }
    }
    return nullptr;
}

Key* FindKey(Key& top, const std::vector<std::wstring>& parts) {
    Key* key = &top;
    for (const std::wstring& part : parts) {
        key = FindChild(*key, part);
        if (key == nullptr) {
            return nullptr;
        }
    }
    return key;
}

Key& EnsureKey(Key& top, const std::vector<std::wstring>& parts, bool& created) {
    Key* key = &top;
    for (const std::wstring& part : parts) {
        Key* child = FindChild(*key, part);
        if (child == nullptr) {
            key->children.push_back(Key{part, {}, {}});
            child = &key->children.back();
            created = true;
        }
        key = child;
    }
    return *key;
}

const Value* FindValue(const Key& key, std::wstring_view name) {
    for (const Value& value : key.values) {
        if (SameName(value.name, name)) {
            return &value;
        }
    }
    return nullptr;
}

// Sets a value, keeping the spelling of an existing name; true when something changed.
bool PutValue(Key& key, std::wstring_view name, std::uint32_t type, std::vector<std::byte> data) {
    for (Value& value : key.values) {
        if (SameName(value.name, name)) {
            if (value.type == type && value.data == data) {
                return false;
            }
            value.type = type;
            value.data = std::move(data);
            return true;
        }
    }
    key.values.push_back(Value{std::wstring(name), type, std::move(data)});
    return true;
}

// --- Text in the store file --------------------------------------------------------------------
//
// Each line is one record, so a damaged line costs only itself:
//   K <tab> key path
//   V <tab> key path <tab> value name <tab> form <tab> data
// Names and strings are UTF-8 with '%', control characters and lone surrogates written as %XX
// (a lone surrogate as the three bytes of its generalized UTF-8 form), so every UTF-16 text,
// valid or not, survives. Forms: sz, expand_sz, multi_sz (text: the code units without the last
// terminator), dword and qword (decimal), hex:<type> (any other bytes).

constexpr char kHexDigits[] = "0123456789ABCDEF";

std::uint32_t UnitAt(const std::byte* data, std::size_t index) {
    return std::to_integer<std::uint32_t>(data[2 * index]) |
           (std::to_integer<std::uint32_t>(data[2 * index + 1]) << 8);
}

void AppendUnit(std::vector<std::byte>& out, std::uint32_t unit) {
    out.push_back(static_cast<std::byte>(unit & 0xFF));
    out.push_back(static_cast<std::byte>((unit >> 8) & 0xFF));
}

void AppendPercent(std::string& out, unsigned char byte) {
    out += '%';
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 0xF];
}

void AppendUtf8(std::string& out, std::uint32_t point) {
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | (point >> 6));
        out += static_cast<char>(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | (point >> 12));
        out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (point & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (point >> 18));
        out += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (point & 0x3F));
    }
}

// Writes `units` UTF-16LE code units from `data` as escaped text.
void AppendText(std::string& out, const std::byte* data, std::size_t units) {
    for (std::size_t i = 0; i < units; ++i) {
        std::uint32_t point = UnitAt(data, i);
        bool surrogate = point >= 0xD800 && point <= 0xDFFF;
        if (point <= 0xDBFF && surrogate && i + 1 < units) {
            std::uint32_t low = UnitAt(data, i + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
                surrogate = false;
                ++i;
            }
        }
        if (point == '%' || point < 0x20 || point == 0x7F) {
            AppendPercent(out, static_cast<unsigned char>(point));
        } else if (surrogate) {
            std::string bytes;
            AppendUtf8(bytes, point);
            for (char byte : bytes) {
                AppendPercent(out, static_cast<unsigned char>(byte));
            }
        } else {
            AppendUtf8(out, point);
        }
    }
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Reads escaped text into UTF-16LE code units; false when the field is not well formed.
bool ParseText(std::string_view field, std::vector<std::byte>& out) {
    std::string bytes;
    bytes.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        auto c = static_cast<unsigned char>(field[i]);
        if (c == '%') {
            if (i + 2 >= field.size()) {
                return false;
            }
            int high = HexValue(field[i + 1]);
            int low = HexValue(field[i + 2]);
            if (high < 0 || low < 0) {
                return false;
            }
            bytes += static_cast<char>(high * 16 + low);
            i += 2;
        } else if (c < 0x20 || c == 0x7F) {
            return false;
        } else {
            bytes += static_cast<char>(c);
        }
    }
    static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    for (std::size_t i = 0; i < bytes.size();) {
        auto lead = static_cast<unsigned char>(bytes[i]);
        std::uint32_t point = 0;
        std::size_t length = 0;
        if (lead < 0x80) {
            point = lead;
            length = 1;
        } else if ((lead & 0xE0) == 0xC0) {
            point = lead & 0x1F;
            length = 2;
        } else if ((lead & 0xF0) == 0xE0) {
            point = lead & 0x0F;
            length = 3;
        } else if ((lead & 0xF8) == 0xF0) {
            point = lead & 0x07;
            length = 4;
        } else {
            return false;
        }
        if (i + length > bytes.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            auto next = static_cast<unsigned char>(bytes[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = (point << 6) | (next & 0x3F);
        }
        if (point < kSmallest[length] || point > 0x10FFFF) {
            return false;
        }
        i += length;
        if (point >= 0x10000) {
            point -= 0x10000;
            AppendUnit(out, 0xD800 + (point >> 10));
            AppendUnit(out, 0xDC00 + (point & 0x3FF));
        } else {
            AppendUnit(out, point);
        }
    }
    return true;
}

void AppendName(std::string& out, std::wstring_view name) {
    std::vector<std::byte> bytes = RegistryBytesFromText(name);
    AppendText(out, bytes.data(), bytes.size() / 2 - 1);
}

bool ParseName(std::string_view field, std::wstring& name) {
    std::vector<std::byte> bytes;
    if (!ParseText(field, bytes)) {
        return false;
    }
    // A name ends at its first NUL, so one with a NUL inside was never written by us.
    for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
        if (UnitAt(bytes.data(), i) == 0) {
            return false;
        }
    }
    name = TextFromRegistryBytes(bytes.data(), bytes.size());
    return true;
}

const char* TextFormName(std::uint32_t type) {
    switch (type) {
        case kRegSz:
            return "sz";
        case kRegExpandSz:
            return "expand_sz";
        case kRegMultiSz:
            return "multi_sz";
        default:
            return nullptr;
    }
}

template <class T>
bool ParseNumber(std::string_view field, T& number) {
    const char* end = field.data() + field.size();
    auto [stop, error] = std::from_chars(field.data(), end, number);
    return error == std::errc() && stop == end && !field.empty();
}

template <class T>
T ReadLittleEndian(const std::vector<std::byte>& data) {
    T number = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        number |= static_cast<T>(std::to_integer<unsigned>(data[i])) << (8 * i);
    }
    return number;
}

template <class T>
std::vector<std::byte> WriteLittleEndian(T number) {
    std::vector<std::byte> data(sizeof(T));
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        data[i] = static_cast<std::byte>((number >> (8 * i)) & 0xFF);
    }
    return data;
}

void AppendValueData(std::string& out, const Value& value) {
    const std::vector<std::byte>& data = value.data;
    const char* textForm = TextFormName(value.type);
    std::size_t size = data.size();
    if (textForm != nullptr && size >= 2 && size % 2 == 0 && data[size - 1] == std::byte{0} &&
        data[size - 2] == std::byte{0}) {
        out += textForm;
        out += '\t';
        AppendText(out, data.data(), size / 2 - 1);
    } else if (value.type == kRegDword && size == 4) {
        out += "dword\t";
        out += std::to_string(ReadLittleEndian<std::uint32_t>(data));
    } else if (value.type == kRegQword && size == 8) {
        out += "qword\t";
        out += std::to_string(ReadLittleEndian<std::uint64_t>(data));
    } else {
        out += "hex:";
        out += std::to_string(value.type);
        out += '\t';
        for (std::byte byte : data) {
            auto bits = std::to_integer<unsigned>(byte);
            out += kHexDigits[bits >> 4];
            out += kHexDigits[bits & 0xF];
        }
    }
}

bool ParseValueData(std::string_view form, std::string_view field, Value& value) {
    for (std::uint32_t type : {kRegSz, kRegExpandSz, kRegMultiSz}) {
        if (form == TextFormName(type)) {
            value.type = type;
            if (!ParseText(field, value.data)) {
                return false;
            }
            AppendUnit(value.data, 0);
            return true;
        }
    }
    if (form == "dword" || form == "qword") {
        std::uint64_t number = 0;
        bool wide = form == "qword";
        if (!ParseNumber(field, number) || (!wide && number > 0xFFFFFFFFu)) {
            return false;
        }
        value.type = wide ? kRegQword : kRegDword;
        value.data = wide ? WriteLittleEndian(number)
                          : WriteLittleEndian(static_cast<std::uint32_t>(number));
        return true;
    }
    if (form.substr(0, 4) != "hex:" || !ParseNumber(form.substr(4), value.type) ||
        field.size() % 2 != 0) {
        return false;
    }
    for (std::size_t i = 0; i < field.size(); i += 2) {
        int high = HexValue(field[i]);
        int low = HexValue(field[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        value.data.push_back(static_cast<std::byte>(high * 16 + low));
    }
    return true;
}

std::vector<std::string_view> SplitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    for (;;) {
        std::size_t end = line.find('\t', start);
        fields.push_back(line.substr(start, end - start));
        if (end == std::string_view::npos) {
            return fields;
        }
        start = end + 1;
    }
}

bool ParseKeyPath(std::string_view field, std::vector<std::wstring>& parts) {
    std::size_t start = 0;
    while (start < field.size()) {
        std::size_t end = std::min(field.find('\\', start), field.size());
        if (end > start) {
            std::wstring name;
            if (!ParseName(field.substr(start, end - start), name) || name.empty()) {
                return false;
            }
            parts.push_back(std::move(name));
        }
        start = end + 1;
    }
    return true;
}

// Applies one record to the tree; false for a line that is not a record.
bool ParseRecord(std::string_view line, Key& top) {
    std::vector<std::string_view> fields = SplitFields(line);
    std::vector<std::wstring> parts;
    if (fields[0] == "K" && fields.size() == 2) {
        if (!ParseKeyPath(fields[1], parts)) {
            return false;
        }
        bool created = false;
        EnsureKey(top, parts, created);
        return true;
    }
    if (fields[0] != "V" || fields.size() != 5 || !ParseKeyPath(fields[1], parts)) {
        return false;
    }
    Value value;
    if (!ParseName(fields[2], value.name) || !ParseValueData(fields[3], fields[4], value)) {
        return false;
    }
    bool created = false;
    PutValue(EnsureKey(top, parts, created), value.name, value.type, std::move(value.data));
    return true;
}

void AppendKey(std::string& out, const Key& key, const std::string& path) {
    for (const Value& value : key.values) {
        out += "V\t";
        out += path;
        out += '\t';
        AppendName(out, value.name);
        out += '\t';
        AppendValueData(out, value);
        out += '\n';
    }
    for (const Key& child : key.children) {
        std::string childPath = path;
        if (!childPath.empty()) {
            childPath += '\\';
        }
        AppendName(childPath, child.name);
        out += "K\t";
        out += childPath;
        out += '\n';
        AppendKey(out, child, childPath);
    }
}

std::string Serialize(const Key& top) {
    std::string out(kHeader);
    out += '\n';
    AppendKey(out, top, {});
    return out;
}

enum class StoreState {
    kClean,   // every line was read
    kDamaged, // some lines could not be read and were left out
    kForeign, // not a store file: nothing was read
};

struct Hive {
    Key top;
    StoreState state = StoreState::kClean;
    std::string original; // the file as read, kept for the backup of a damaged file
};

void Parse(std::string text, Hive& hive) {
    hive.original = std::move(text);
    std::string_view rest = hive.original;
    if (rest.empty()) {
        return;
    }
    bool first = true;
    while (!rest.empty()) {
        std::size_t end = rest.find('\n');
        bool complete = end != std::string_view::npos;
        std::string_view line = rest.substr(0, end);
        rest = complete ? rest.substr(end + 1) : std::string_view();
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (first) {
            first = false;
            if (!complete || line != kHeader) {
                hive.state = StoreState::kForeign;
                return;
            }
            continue;
        }
        // Every record is written with its line end; a last line without one was cut short.
        if (!complete || (!line.empty() && !ParseRecord(line, hive.top))) {
            hive.state = StoreState::kDamaged;
        }
    }
}

// --- Files -------------------------------------------------------------------------------------

ErrorCode ReadWholeFile(const std::filesystem::path& path, std::string& text) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        return MapErrno(errno);
    }
    char buffer[16384];
    for (;;) {
        ssize_t count = ::read(fd.get(), buffer, sizeof(buffer));
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return MapErrno(errno);
        }
        if (count == 0) {
            return kErrorSuccess;
        }
        if (text.size() + static_cast<std::size_t>(count) > kMaxFileSize) {
            return kErrorRegistryCorrupt;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
}

ErrorCode WriteFileAtomically(const std::filesystem::path& target, std::string_view bytes) {
    static std::atomic<unsigned> counter{0};
    std::string temp = target.string() + ".tmp-" + std::to_string(::getpid()) + "-" +
                       std::to_string(counter.fetch_add(1));
    UniqueFd fd(::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!fd) {
        return MapErrno(errno);
    }
    auto removeTemp = MakeScopeExit([&temp] { ::unlink(temp.c_str()); });
    while (!bytes.empty()) {
        ssize_t count = ::write(fd.get(), bytes.data(), bytes.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return MapErrno(errno);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    if (::fsync(fd.get()) != 0 || ::close(fd.release()) != 0) {
        return MapErrno(errno);
    }
    if (::rename(temp.c_str(), target.c_str()) != 0) {
        return MapErrno(errno);
    }
    removeTemp.Dismiss();
    // The rename is durable once the folder is flushed. Some file systems refuse to flush a
    // folder (EINVAL); the new file is in place either way, so that is not a failed write.
    UniqueFd folder(::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        (void)::fsync(folder.get());
    }
    return kErrorSuccess;
}

const char* RootFileStem(RegistryRoot root) {
    return root == RegistryRoot::kLocalMachine ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER";
}

using Change = std::function<ErrorCode(Key& top, bool& changed)>;

class FileStore {
public:
    explicit FileStore(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    // The root's tree as the file holds it now. No file is an empty root.
    ErrorCode Load(RegistryRoot root, Hive& hive) const {
        std::string text;
        ErrorCode error = ReadWholeFile(StorePath(root), text);
        if (error == kErrorFileNotFound) {
            return kErrorSuccess;
        }
        if (error != kErrorSuccess) {
            return error;
        }
        Parse(std::move(text), hive);
        return hive.state == StoreState::kForeign ? kErrorRegistryCorrupt : kErrorSuccess;
    }

    // Reads, changes and writes back a root under its lock, so that concurrent writers in any
    // process apply their changes one after the other. Writes only when `change` changed the tree.
    ErrorCode Update(RegistryRoot root, const Change& change) const {
        std::error_code folderError;
        std::filesystem::create_directories(m_folder, folderError);
        if (folderError) {
            return MapErrno(folderError.value());
        }
        std::filesystem::path lockPath = m_folder / (std::string(RootFileStem(root)) + ".lock");
        UniqueFd lock(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
        if (!lock) {
            return MapErrno(errno);
        }
        while (::flock(lock.get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                return MapErrno(errno);
            }
        }
        RemoveTemporaries(root);
        Hive hive;
        ErrorCode error = Load(root, hive);
        if (error != kErrorSuccess) {
            return error;
        }
        bool changed = false;
        error = change(hive.top, changed);
        if (error != kErrorSuccess || !changed) {
            return error;
        }
        if (hive.state == StoreState::kDamaged) {
            error = WriteFileAtomically(FreeBackupPath(root), hive.original);
            if (error != kErrorSuccess) {
                return error;
            }
        }
        return WriteFileAtomically(StorePath(root), Serialize(hive.top));
    }

private:
    std::filesystem::path StorePath(RegistryRoot root) const {
        return m_folder / (std::string(RootFileStem(root)) + ".reg");
    }

    std::filesystem::path FreeBackupPath(RegistryRoot root) const {
        std::string base = StorePath(root).string() + ".corrupt";
        std::string candidate = base;
        for (int n = 2; ::access(candidate.c_str(), F_OK) == 0; ++n) {
            candidate = base + "-" + std::to_string(n);
        }
        return candidate;
    }

    // Under the lock no write of this root is under way, so a temporary file left beside the
    // store is a crashed writer's.
    void RemoveTemporaries(RegistryRoot root) const {
        std::string prefix = std::string(RootFileStem(root)) + ".reg.tmp-";
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder, ignored)) {
            if (entry.path().filename().string().starts_with(prefix)) {
                std::filesystem::remove(entry.path(), ignored);
            }
        }
    }

    std::filesystem::path m_folder;
};

// --- The seam ----------------------------------------------------------------------------------

class FileKey final : public RegistryKey {
public:
    FileKey(std::shared_ptr<const FileStore> store, RegistryRoot root,
            std::vector<std::wstring> path, std::uint32_t access)
        : m_store(std::move(store)), m_root(root), m_path(std::move(path)), m_access(access) {}

    ErrorCode QueryValue(std::wstring_view name, std::uint32_t* type, void* data,
                         std::uint32_t* size) const override {
        if ((m_access & kKeyQueryValue) == 0) {
            return kErrorAccessDenied;
        }
        if (data != nullptr && size == nullptr) {
            return kErrorInvalidParameter;
        }
        Hive hive;
        const Key* key = nullptr;
        if (ErrorCode error = LoadKey(hive, key); error != kErrorSuccess) {
            return error;
        }
        const Value* value = FindValue(*key, UpToNul(name));
        if (value == nullptr) {
            return kErrorFileNotFound;
        }
        if (type != nullptr) {
            *type = value->type;
        }
        if (size == nullptr) {
            return kErrorSuccess;
        }
        auto needed = static_cast<std::uint32_t>(value->data.size());
        if (data != nullptr) {
            if (*size < needed) {
                *size = needed;
                return kErrorMoreData;
            }
            if (needed != 0) {
                std::memcpy(data, value->data.data(), needed);
            }
        }
        *size = needed;
        return kErrorSuccess;
    }

    ErrorCode SetValue(std::wstring_view name, std::uint32_t type, const void* data,
                       std::uint32_t size) override {
        if ((m_access & kKeySetValue) == 0) {
            return kErrorAccessDenied;
        }
        if (data == nullptr && size != 0) {
            return kErrorNoAccess;
        }
        name = UpToNul(name);
        if (name.size() > kMaxValueNameLength) {
            return kErrorInvalidParameter;
        }
        const auto* bytes = static_cast<const std::byte*>(data);
        std::vector<std::byte> copy(bytes, bytes + size);
        return m_store->Update(m_root, [&](Key& top, bool& changed) {
            Key* key = FindKey(top, m_path);
            if (key == nullptr) {
                return kErrorKeyDeleted;
            }
            changed = PutValue(*key, name, type, std::move(copy));
            return kErrorSuccess;
        });
    }

    RegistryNames ValueNames() const override { return NamesOf(kKeyQueryValue, &Key::values); }

    RegistryNames SubKeyNames() const override {
        return NamesOf(kKeyEnumerateSubKeys, &Key::children);
    }

private:
    // The names of the key's values or subkeys, given the access right that listing them needs.
    template <class Item>
    RegistryNames NamesOf(std::uint32_t right, std::vector<Item> Key::*list) const {
        RegistryNames result;
        const Key* key = nullptr;
        Hive hive;
        if ((m_access & right) == 0) {
            result.error = kErrorAccessDenied;
        } else if (result.error = LoadKey(hive, key); result.error == kErrorSuccess) {
            for (const Item& item : key->*list) {
                result.names.push_back(item.name);
            }
        }
        return result;
    }

    ErrorCode LoadKey(Hive& hive, const Key*& key) const {
        if (ErrorCode error = m_store->Load(m_root, hive); error != kErrorSuccess) {
            return error;
        }
        key = FindKey(hive.top, m_path);
        return key == nullptr ? kErrorKeyDeleted : kErrorSuccess;
    }

    std::shared_ptr<const FileStore> m_store;
    RegistryRoot m_root;
    std::vector<std::wstring> m_path;
    std::uint32_t m_access;
};

class FileRegistry final : public Registry {
public:
    explicit FileRegistry(std::filesystem::path folder)
        : m_store(std::make_shared<const FileStore>(std::move(folder))) {}

    RegistryKeyResult OpenKey(RegistryRoot root, std::wstring_view path,
                              std::uint32_t access) const override {
        std::vector<std::wstring> parts;
        if (ErrorCode error = SplitPath(path, parts); error != kErrorSuccess) {
            return {nullptr, error};
        }
        Hive hive;
        if (ErrorCode error = m_store->Load(root, hive); error != kErrorSuccess) {
            return {nullptr, error};
        }
        if (FindKey(hive.top, parts) == nullptr) {
            return {nullptr, kErrorFileNotFound};
        }
        return {std::make_unique<FileKey>(m_store, root, std::move(parts), GrantedRights(access)),
                kErrorSuccess};
    }

    RegistryKeyResult CreateKey(RegistryRoot root, std::wstring_view path,
                                std::uint32_t access) override {
        std::vector<std::wstring> parts;
        if (ErrorCode error = SplitPath(path, parts); error != kErrorSuccess) {
            return {nullptr, error};
        }
        bool created = false;
        ErrorCode error = m_store->Update(root, [&](Key& top, bool& changed) {
            EnsureKey(top, parts, created);
            changed = created;
            return kErrorSuccess;
        });
        if (error != kErrorSuccess) {
            return {nullptr, error};
        }
        return {std::make_unique<FileKey>(m_store, root, std::move(parts), GrantedRights(access)),
                kErrorSuccess, created};
    }

    ErrorCode SetKeyValue(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                          std::uint32_t type, const void* data, std::uint32_t size) override {
        std::vector<std::wstring> parts;
        if (ErrorCode error = SplitPath(path, parts); error != kErrorSuccess) {
            return error;
        }
        if (data == nullptr && size != 0) {
            return kErrorNoAccess;
        }
        name = UpToNul(name);
        if (name.size() > kMaxValueNameLength) {
            return kErrorInvalidParameter;
        }
        const auto* bytes = static_cast<const std::byte*>(data);
        std::vector<std::byte> copy(bytes, bytes + size);
        return m_store->Update(root, [&](Key& top, bool& changed) {
            bool created = false;
            Key& key = EnsureKey(top, parts, created);
            changed = PutValue(key, name, type, std::move(copy)) || created;
            return kErrorSuccess;
        });
    }

private:
    std::shared_ptr<const FileStore> m_store;
};

std::filesystem::path HomeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return home;
    }
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_dir != nullptr && *found->pw_dir != '\0') {
        return found->pw_dir;
    }
    // No home at all (a bare service account): a per-user folder that at least exists.
    return std::filesystem::temp_directory_path() / ("nexilo-" + std::to_string(::getuid()));
}

} // namespace

std::filesystem::path DefaultRegistryFolder() {
    if (const char* root = std::getenv("NEXILO_REGISTRY_ROOT"); root != nullptr && *root != '\0') {
        return root;
    }
    // The XDG base directory rules say to ignore a relative XDG_STATE_HOME.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return std::filesystem::path(state) / "nexilo" / "registry";
    }
    return HomeFolder() / ".local" / "state" / "nexilo" / "registry";
}

std::unique_ptr<Registry> MakeFileRegistry(std::filesystem::path folder) {
    return std::make_unique<FileRegistry>(std::move(folder));
}

std::unique_ptr<Registry> MakeSystemRegistry(RegistryView) {
    return MakeFileRegistry(DefaultRegistryFolder());
}

Registry& SystemRegistry() {
    static FileRegistry registry(DefaultRegistryFolder());
    return registry;
}

} // namespace platform
