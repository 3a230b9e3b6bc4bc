// The root of every interface that crosses a module border, and the interface identifiers.
//
// Contract:
// - An interface identifier is 128 bits, written and passed as four 32-bit words in this order.
//   It travels by value and is compared as 16 bytes.
// - QueryInterface answers a pointer to the requested interface of the same object, or null.
//   Nothing counts references: an object belongs to whoever created it through a module's
//   factory (exports.h) and is given back through the same module's destroy export, as the
//   ICvBaseInterface pointer that the factory made (not the interface asked for).
// - The order of each interface's virtual operations is a contract between modules built apart;
//   every operation is marked with its slot, its 0-based index in the virtual table. Interfaces
//   without a virtual destructor have a protected non-virtual one: no slot, and nobody deletes
//   an object through them. Where a virtual destructor is part of a table, the slot numbers are
//   those of the GCC (Itanium) ABI, which gives it two slots; such types are for modules built
//   with the same toolchain.
// - These headers stand alone (no project headers), so hosts can use them as they are.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

struct CvIid {
    std::uint32_t words[4];

    friend bool operator==(const CvIid& a, const CvIid& b) noexcept {
        return std::memcmp(&a, &b, sizeof(CvIid)) == 0;
    }
};
static_assert(sizeof(CvIid) == 16 && std::is_trivially_copyable_v<CvIid>,
              "an identifier is 16 bytes passed by value");

inline constexpr CvIid kIidCvBaseInterface{{0x66551AB3, 0xBC90FCA3, 0xF7C5425F, 0x514BE292}};

class ICvBaseInterface {
public:
    // slot 0
    virtual void* QueryInterface(CvIid iid) = 0;

protected:
    ~ICvBaseInterface() = default;
};
static_assert(sizeof(ICvBaseInterface) == sizeof(void*), "one table pointer, no data");
