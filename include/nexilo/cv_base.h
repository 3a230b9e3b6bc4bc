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
//   have a protected non-virtual destructor: no slot, and nobody deletes an object through them.
// - These headers stand alone (no project headers), so hosts can use them as they are.
//
// Tables that two compilers share. The product's host and its other modules are built with
// Microsoft's compiler (MSVC), this module with GCC; a table works across the two only where their
// C++ ABIs agree, so the border keeps to what they lay out and pass alike:
// - No virtual destructor. MSVC gives it one slot (the "scalar deleting destructor"), GCC two, so
//   every slot after it would differ. A table whose objects are destroyed through it declares
//   ScalarDeletingDestructor(flags) at slot 0 instead, with MSVC's shape: it ends the object's
//   life, also frees its memory when bit 0 of `flags` (kCvDeleteMemory) is set, and returns the
//   object's address. MSVC code that destroys such an object through the table calls exactly this
//   slot.
// - No class object passed by value, except through cv::ByValue (nexilo/by_value.h): MSVC and GCC
//   pass such objects differently and disagree on which side destroys them.
// - Every member function is thiscall on 32-bit x86 (`this` in ECX, the callee pops the stack), the
//   default of both compilers there; x64 has one convention.
// - Passed alike by both, and used freely: scalars, pointers, references (as pointers), bool (one
//   byte), and CvIid (16 bytes with a trivial copy: on the stack on x86, by address of a copy on
//   x64). No operation returns a class object.
// - No exception crosses a table: the two compilers unwind differently, so neither side can catch
//   the other's exceptions (flat_exports.h names the one export that lets one out).
// scripts/check-abi-layout compares every table of these headers under both compilers' layouts.
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

// Bit 0 of ScalarDeletingDestructor's flags: free the memory as well.
inline constexpr std::uint32_t kCvDeleteMemory = 1;

inline constexpr CvIid kIidCvBaseInterface{{0x66551AB3, 0xBC90FCA3, 0xF7C5425F, 0x514BE292}};

class ICvBaseInterface {
public:
    // slot 0
    virtual void* QueryInterface(CvIid iid) = 0;

protected:
    ~ICvBaseInterface() = default;
};
static_assert(sizeof(ICvBaseInterface) == sizeof(void*), "one table pointer, no data");
