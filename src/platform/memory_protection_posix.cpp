#include "platform/memory_protection.h"

#include "platform/unique_resource.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {
namespace {

// AES-256-XTS takes two 256-bit keys. XTS keeps the size (no padding, no tag) and, with the
// data unit's index as tweak, does not depend on where the buffer lies, which lets a copy be
// unsealed at another address.
constexpr std::size_t kKeySize = 64;
constexpr std::size_t kDataUnit = 4096;

struct KeyPage {
    unsigned char* key = nullptr;
};

KeyPage MakeKeyPage() noexcept {
    long pageSize = ::sysconf(_SC_PAGESIZE);
    std::size_t size = pageSize > 0 ? static_cast<std::size_t>(pageSize) : 4096;
    void* page = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) {
        return {};
    }
    // Best effort: a low RLIMIT_MEMLOCK must not stop sealing altogether; the key then may reach
    // swap, but still never a core dump.
    ::mlock(page, size);
#if defined(MADV_DONTDUMP)
    ::madvise(page, size, MADV_DONTDUMP);
#endif
    auto* key = static_cast<unsigned char*>(page);
    // XTS refuses a key whose two halves are equal.
    do {
        if (RAND_priv_bytes(key, kKeySize) != 1) {
            ::munmap(page, size);
            return {};
        }
    } while (CRYPTO_memcmp(key, key + kKeySize / 2, kKeySize / 2) == 0);
    return KeyPage{key};
}

// Made on first use and kept for the life of the process (trivially destructible, so no static
// destructor can pull it away from a late caller).
const KeyPage& ProcessKey() noexcept {
    static const KeyPage page = MakeKeyPage();
    return page;
}

struct CipherContextTraits {
    using Type = EVP_CIPHER_CTX*;
    static constexpr Type Invalid() noexcept { return nullptr; }
    static void Close(Type ctx) noexcept { EVP_CIPHER_CTX_free(ctx); }
};

ErrorCode Transform(void* data, std::size_t size, std::uint32_t flags, bool encrypt) noexcept {
    if (size % kProtectBlockSize != 0) {
        return kErrorInvalidParameter;
    }
    if (flags != kProtectSameProcess) {
        return kErrorNotSupported;
    }
    if (size == 0) {
        return kErrorSuccess;
    }
    const KeyPage& page = ProcessKey();
    if (page.key == nullptr) {
        return kErrorGenFailure;
    }
    UniqueResource<CipherContextTraits> ctx(EVP_CIPHER_CTX_new());
    if (!ctx || EVP_CipherInit_ex2(ctx.get(), EVP_aes_256_xts(), page.key, nullptr, encrypt ? 1 : 0,
                                   nullptr) != 1) {
        return kErrorNotEnoughMemory;
    }
    auto* bytes = static_cast<unsigned char*>(data);
    for (std::size_t offset = 0, unit = 0; offset < size; offset += kDataUnit, ++unit) {
        unsigned char tweak[16] = {};
        for (std::size_t i = 0; i < sizeof(std::size_t); ++i) {
            tweak[i] = static_cast<unsigned char>(unit >> (8 * i));
        }
        int length = static_cast<int>(std::min(kDataUnit, size - offset));
        int written = 0;
        if (EVP_CipherInit_ex2(ctx.get(), nullptr, nullptr, tweak, encrypt ? 1 : 0, nullptr) != 1 ||
            EVP_CipherUpdate(ctx.get(), bytes + offset, &written, bytes + offset, length) != 1 ||
            written != length) {
            return kErrorGenFailure;
        }
    }
    return kErrorSuccess;
}

} // namespace

ErrorCode ProtectMemory(void* data, std::size_t size, std::uint32_t flags) noexcept {
    return Transform(data, size, flags, true);
}

ErrorCode UnprotectMemory(void* data, std::size_t size, std::uint32_t flags) noexcept {
    return Transform(data, size, flags, false);
}

} // namespace platform
