// A fresh, uniquely named folder under the system's temporary folder, removed with its content
// when the object goes away. For tests and fuzzers; not thread-safe per object.
#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace platform_testing {

class TempDir {
public:
    TempDir() : TempDir(std::filesystem::temp_directory_path()) {}

    // A folder under `base`, which must exist.
    explicit TempDir(const std::filesystem::path& base) {
        std::random_device random;
        for (;;) {
            std::uint64_t tag = (std::uint64_t{random()} << 32) | random();
            std::filesystem::path candidate = base / ("nexilo-" + std::to_string(tag));
            if (std::filesystem::create_directory(candidate)) {
                m_path = std::move(candidate);
                return;
            }
        }
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const noexcept { return m_path; }
    // The wide form of a path inside the folder. Joined by hand: libstdc++ converts wide names
    // through the C locale, which fails on non-ASCII ones.
    std::wstring File(const std::wstring& name) const {
        return m_path.wstring() + static_cast<wchar_t>(std::filesystem::path::preferred_separator) +
               name;
    }

private:
    std::filesystem::path m_path;
};

} // namespace platform_testing
