// The registry: keys under a predefined root and their typed values, with Windows error numbers.
//
// Contract, the same on every system:
// - Key paths are relative to the root and separated by '\'. A leading '\' gives 161
//   (kErrorBadPathname); empty components elsewhere are skipped, so "A\\\\B\\" is "A\B". An empty
//   path is the root key itself. A name ends at its first NUL.
// - Key and value names compare case-insensitively and keep the spelling they were created with;
//   writing "FINGERPRINT" over "Fingerprint" keeps "Fingerprint". An empty value name is the key's
//   default value.
// - Value data is in the Windows form on every system: REG_SZ, REG_EXPAND_SZ and REG_MULTI_SZ are
//   UTF-16LE code units with their terminators, REG_DWORD and REG_QWORD little-endian. Sizes are
//   therefore Windows sizes everywhere: "hello wine" as REG_SZ is 22 bytes. The bytes are stored as
//   given; the type is not checked against them. Use the typed helpers, or TextFromRegistryBytes
//   and RegistryBytesFromText, to move between text and these bytes.
// - A key carries the access it was opened with: reading values needs kKeyQueryValue, writing them
//   kKeySetValue, listing subkeys kKeyEnumerateSubKeys; without it the call gives 5.
// - Errors: 2 missing key or value, 5 access denied, 87 bad parameter (value name above 16383
//   characters, data without a size), 234 buffer too small, 998 null data with a size,
//   1630 a typed read of a value of another type, 13 a REG_DWORD that is not 4 bytes.
// - Threads: Registry and RegistryKey objects may be used from several threads at once. A key does
//   not depend on the Registry object that opened it and may outlive it. Calls block on the system
//   (POSIX: on file I/O, and writers on each other for the length of one write).
//
// What differs per system:
// - Windows: the system registry through advapi32. The view decides which half a 64-bit Windows
//   shows: the i686 product sees the 32-bit view by default, an x64 tool sees the 64-bit one, so a
//   tool that prepares values for the product opens MakeSystemRegistry(RegistryView::k32Bit).
//   Security descriptors decide access as usual.
// - POSIX: a file-backed registry with the same semantics, one text file per root
//   ("HKEY_LOCAL_MACHINE.reg", "HKEY_CURRENT_USER.reg") in a folder chosen by
//   DefaultRegistryFolder(); both roots belong to the user who owns that folder. There is one view:
//   the view is accepted and changes nothing. Strings are kept as UTF-8 text in the file. Every
//   write rewrites its root's file atomically (temporary file, fsync, rename) under an exclusive
//   flock on "<root>.lock", so concurrent processes never lose each other's writes; readers take no
//   lock and always see a whole file. File system errors map to their Windows numbers (EACCES 5).
//   A file with damaged lines is read without them, and the next write keeps the original beside
//   it as "<root>.reg.corrupt" (or "-2", "-3", ...) before writing what could be read. A file that
//   is not a registry store at all gives kErrorRegistryCorrupt (1015) for every call on that root
//   and is never overwritten.
#pragma once

#include "platform/build_config.h"
#include "platform/error_codes.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Value types (REG_*).
inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegMultiSz = 7;
inline constexpr std::uint32_t kRegQword = 11;

// Access rights of a key (KEY_*), with the Windows numbers.
inline constexpr std::uint32_t kKeyQueryValue = 0x0001;
inline constexpr std::uint32_t kKeySetValue = 0x0002;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x0004;
inline constexpr std::uint32_t kKeyEnumerateSubKeys = 0x0008;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;
inline constexpr std::uint32_t kKeyAllAccess = 0xF003F;

// The longest value name Windows accepts, in characters.
inline constexpr std::size_t kMaxValueNameLength = 16383;

enum class RegistryRoot {
    kLocalMachine, // HKEY_LOCAL_MACHINE
    kCurrentUser,  // HKEY_CURRENT_USER
};

enum class RegistryView {
    kNative, // the process's own view
    k32Bit,  // KEY_WOW64_32KEY: what the i686 product sees
    k64Bit,  // KEY_WOW64_64KEY
};

struct [[nodiscard]] RegistryString {
    ErrorCode error = kErrorSuccess;
    std::wstring value;
};

struct [[nodiscard]] RegistryDword {
    ErrorCode error = kErrorSuccess;
    std::uint32_t value = 0;
};

struct [[nodiscard]] RegistryNames {
    ErrorCode error = kErrorSuccess;
    std::vector<std::wstring> names; // stored spelling; order unspecified
};

// An open key. Closed when destroyed.
class RegistryKey {
public:
    virtual ~RegistryKey() = default;

    // As RegQueryValueExW. `type`, `data` and `size` may each be null, but `data` needs `size`
    // (87). *size is the buffer's size on entry and the value's size on return. With a null `data`
    // the call only measures. A buffer smaller than the value gives 234 with the needed size in
    // *size (and the type in *type); the buffer's content is then unspecified.
    [[nodiscard]] virtual ErrorCode QueryValue(std::wstring_view name, std::uint32_t* type,
                                               void* data, std::uint32_t* size) const = 0;
    // As RegSetValueExW: stores `size` bytes of `data` under `name` with `type`, replacing a value
    // of that name.
    [[nodiscard]] virtual ErrorCode SetValue(std::wstring_view name, std::uint32_t type,
                                             const void* data, std::uint32_t size) = 0;
    // The names of the key's values (needs kKeyQueryValue) and of its direct subkeys (needs
    // kKeyEnumerateSubKeys).
    virtual RegistryNames ValueNames() const = 0;
    virtual RegistryNames SubKeyNames() const = 0;

    // A REG_SZ or REG_EXPAND_SZ value as text up to its first NUL (not expanded); 1630 for other
    // types.
    RegistryString GetString(std::wstring_view name) const;
    // A REG_DWORD value; 1630 for other types, 13 when it is not 4 bytes.
    RegistryDword GetDword(std::wstring_view name) const;
    // REG_SZ with its terminator: (UTF-16 code units + 1) * 2 bytes.
    [[nodiscard]] ErrorCode SetString(std::wstring_view name, std::wstring_view text);
    [[nodiscard]] ErrorCode SetDword(std::wstring_view name, std::uint32_t value);
};

struct [[nodiscard]] RegistryKeyResult {
    std::unique_ptr<RegistryKey> key; // null on failure
    ErrorCode error = kErrorSuccess;
    bool created = false; // CreateKey: the key did not exist before
};

class Registry {
public:
    virtual ~Registry() = default;

    // As RegOpenKeyExW: 2 when the key or one of its parents does not exist.
    virtual RegistryKeyResult OpenKey(RegistryRoot root, std::wstring_view path,
                                      std::uint32_t access) const = 0;
    // As RegCreateKeyExW with REG_OPTION_NON_VOLATILE: opens the key, creating it and its missing
    // parents first.
    virtual RegistryKeyResult CreateKey(RegistryRoot root, std::wstring_view path,
                                        std::uint32_t access) = 0;
    // As RegSetKeyValueW: sets a value of the key at `path`, creating the key and its parents.
    [[nodiscard]] virtual ErrorCode SetKeyValue(RegistryRoot root, std::wstring_view path,
                                                std::wstring_view name, std::uint32_t type,
                                                const void* data, std::uint32_t size) = 0;

    // Open, read, close; the errors of OpenKey and of the key's typed read.
    RegistryString ReadString(RegistryRoot root, std::wstring_view path,
                              std::wstring_view name) const;
    RegistryDword ReadDword(RegistryRoot root, std::wstring_view path,
                            std::wstring_view name) const;
    // SetKeyValue of a REG_SZ (with its terminator) or a REG_DWORD.
    [[nodiscard]] ErrorCode WriteString(RegistryRoot root, std::wstring_view path,
                                        std::wstring_view name, std::wstring_view text);
    [[nodiscard]] ErrorCode WriteDword(RegistryRoot root, std::wstring_view path,
                                       std::wstring_view name, std::uint32_t value);
};

// The system's registry in the process's own view; lives as long as the process. On POSIX its
// folder is DefaultRegistryFolder() at the first call.
Registry& SystemRegistry();

// The system's registry seen through `view`; owned by the caller.
std::unique_ptr<Registry> MakeSystemRegistry(RegistryView view);

#if defined(NEXILO_OS_POSIX)
// A file-backed registry in `folder`, which is created at the first write.
std::unique_ptr<Registry> MakeFileRegistry(std::filesystem::path folder);

// $NEXILO_REGISTRY_ROOT if set, else $XDG_STATE_HOME/nexilo/registry, else
// $HOME/.local/state/nexilo/registry (the home folder of the account when HOME is unset).
std::filesystem::path DefaultRegistryFolder();
#endif

// Text from string data in the registry's form: UTF-16LE code units up to the first NUL unit or
// the end; an odd last byte is ignored. On Linux a pair of surrogates becomes one character and a
// lone surrogate stays as it is.
std::wstring TextFromRegistryBytes(const void* data, std::size_t size);

// Text in the registry's form, with its NUL terminator.
std::vector<std::byte> RegistryBytesFromText(std::wstring_view text);

} // namespace platform
