// Secrets sealed at rest: the identity triple is kept encrypted by the platform's in-memory
// protection and is in the clear only inside a short-lived szm::zeroing_string_t.
//
// cpm::protected_string_t<Protection, CharT> seals a copy of a zeroing string once, at
// construction, into a whole number of 16-byte blocks (empty text: no block, no platform call).
// Unseal() decrypts a scrubbed copy and never touches the sealed bytes, so several threads may
// unseal one object at once while nobody replaces it. Failures are silent: a failed seal leaves
// an empty object, a failed unseal returns the empty text. The object is replaced as a whole,
// never changed in place. Protection is a policy with
//   static bool Protect(void* data, std::size_t size) noexcept;   // in place
//   static bool Unprotect(void* data, std::size_t size) noexcept;
// cpm::protection<Flags> is the platform's (Flags 0: only this process can unseal).
#pragma once

#include "foundation/zeroing_string.h"
#include "platform/memory_protection.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace cpm {

template <std::uint32_t Flags>
struct protection {
    static bool Protect(void* data, std::size_t size) noexcept {
        return platform::ProtectMemory(data, size, Flags) == platform::kErrorSuccess;
    }
    static bool Unprotect(void* data, std::size_t size) noexcept {
        return platform::UnprotectMemory(data, size, Flags) == platform::kErrorSuccess;
    }
};

template <class Protection, class CharT>
class protected_string_t {
public:
    static constexpr std::size_t kBlockSize = platform::kProtectBlockSize;

    protected_string_t() noexcept = default;

    explicit protected_string_t(const szm::zeroing_string_t<CharT>& clear) {
        const std::size_t size = clear.storage().size() * sizeof(CharT);
        if (clear.storage().size() <= 1) {
            return;
        }
        // The padding stays zero, so a terminator survives the round trip.
        m_sealed.assign((size + kBlockSize - 1) / kBlockSize * kBlockSize, 0);
        std::memcpy(m_sealed.data(), clear.storage().data(), size);
        if (!Protection::Protect(m_sealed.data(), m_sealed.size())) {
            // Let go of the clear bytes now rather than when the object dies.
            szm::ZeroingVector().swap(m_sealed);
        }
    }

    protected_string_t(protected_string_t&&) noexcept = default;
    protected_string_t& operator=(protected_string_t&&) noexcept = default;
    protected_string_t(const protected_string_t&) = delete;
    protected_string_t& operator=(const protected_string_t&) = delete;
    virtual ~protected_string_t() = default;

    [[nodiscard]] szm::zeroing_string_t<CharT> Unseal() const {
        if (m_sealed.empty()) {
            return szm::zeroing_string_t<CharT>();
        }
        szm::ZeroingVector copy(m_sealed);
        if (!Protection::Unprotect(copy.data(), copy.size())) {
            return szm::zeroing_string_t<CharT>();
        }
        // Taken as a C string, bounded by the block in case the bytes hold no zero.
        const std::size_t units = copy.size() / sizeof(CharT);
        typename szm::zeroing_string_t<CharT>::Storage chars(units);
        std::memcpy(chars.data(), copy.data(), units * sizeof(CharT));
        std::size_t length = 0;
        while (length < units && chars[length] != CharT{}) {
            ++length;
        }
        return szm::zeroing_string_t<CharT>(chars.data(), length);
    }

    // The sealed bytes: empty, or a whole number of blocks.
    [[nodiscard]] const szm::ZeroingVector& sealed() const noexcept { return m_sealed; }

    void swap(protected_string_t& other) noexcept { m_sealed.swap(other.m_sealed); }

private:
    szm::ZeroingVector m_sealed;
};

using ProtectedString = protected_string_t<protection<0>, char>;

// The identity triple of a cloud session, sealed. Assign needs the owner's lock; Unseal of the
// fields may run on several threads at once between assignments.
struct ProtectedIdentity {
    ProtectedString device_id;
    ProtectedString app_id;
    ProtectedString user_token;

    // Seals the three texts; the sealed bytes they replace are scrubbed.
    void Assign(const szm::zeroing_string_t<char>& deviceId,
                const szm::zeroing_string_t<char>& appId,
                const szm::zeroing_string_t<char>& userToken);
};

} // namespace cpm
