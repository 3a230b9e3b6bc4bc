/* The agent's border as a host built with Microsoft's compiler sees it, written by hand in C, as
 * a C client of COM would: an object is a pointer to its table of function pointers, the tables'
 * slots are called by index, and every layout is spelled out. Nothing here comes from the
 * module's C++ headers: that is the point of the test.
 *
 * What MSVC does, which this file follows:
 * - Member functions are thiscall on 32-bit x86 (`this` in ECX, arguments on the stack, the
 *   callee pops them); x64 has one convention.
 * - A virtual destructor is one slot, the scalar deleting destructor: (this, flags) -> this, and
 *   bit 0 of flags also frees the memory.
 * - A class with a destructor passed by value: on 32-bit x86 the object's own bytes in the
 *   argument area, on x64 the address of the caller's temporary; the callee destroys it.
 * - A reference is a pointer; bool is one byte. */
#ifndef NEXILO_TESTS_MSVC_SHAPES_H
#define NEXILO_TESTS_MSVC_SHAPES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#if defined(__i386__)
#define MSVC_MEMBER __attribute__((thiscall))
#else
#define MSVC_MEMBER
#endif

/* A table slot as stored; called through a cast to its real type. */
typedef void (*Slot)(void);

/* Slot `index` of the table of `object`, as a function of type `type`. */
#define SLOT(object, index, type) ((type)((*(const Slot* const*)(object))[index]))

typedef struct {
    uint32_t words[4];
} CvIid;

static const CvIid kIidBase = {{0x66551AB3, 0xBC90FCA3, 0xF7C5425F, 0x514BE292}};
static const CvIid kIidServPlugin = {{0x414E2323, 0x983304D0, 0x7C884176, 0xE952825D}};
static const CvIid kIidAgent = {{0x454E4F30, 0x8D2C7D08, 0xEA1B46F9, 0x3CA3790B}};
static const CvIid kIidHKSettings = {{0xBD1BE6B7, 0x81BB0FC7, 0x7A314E29, 0xBC846F9B}};
static const CvIid kIidEventQueue = {{0x2C9C916F, 0x9528C5AE, 0x950A4713, 0x521384D0}};

/* Bit 0 of a scalar deleting destructor's flags. */
#define DELETE_MEMORY 1u

/* cv::IMemMgr: Allocate, Reallocate, Free, Release. */
typedef void*(MSVC_MEMBER* AllocateFn)(void* self, size_t size);
typedef void*(MSVC_MEMBER* ReallocateFn)(void* self, void* block, size_t size);
typedef void(MSVC_MEMBER* FreeBlockFn)(void* self, void* block);
typedef void(MSVC_MEMBER* ReleaseFn)(void* self);

/* cv::StringT: one pointer to the text, inside a guarded block:
 * [head guard][record pointer][inner guard][text, capacity + 1 characters][tail guard]. */
typedef struct {
    void* mem_mgr;
    uint32_t length;
    uint32_t capacity;
    uint32_t growth;
    uint8_t buffer_owned;
    uint8_t record_owned;
} StringRecord;

#define GUARD_WORD 0xABCDu
#define HEAD_GUARD_OFFSET (sizeof(void*) - sizeof(uint32_t))
#define RECORD_OFFSET sizeof(void*)
#define INNER_GUARD_OFFSET (2 * sizeof(void*))
#define TEXT_OFFSET (INNER_GUARD_OFFSET + sizeof(uint32_t))
#define BLOCK_SIZE(capacity) (TEXT_OFFSET + ((size_t)(capacity) + 1) * sizeof(wchar_t) + 4)

/* cv::Value: one pointer to a node. A node starts with its table (slot 0 the scalar deleting
 * destructor, slot 1 GetType), then the creating module's malloc, realloc and free, then the
 * payload of its kind. */
enum { TYPE_NULL, TYPE_NUMBER, TYPE_BOOL, TYPE_STRING, TYPE_ARRAY, TYPE_DICT };

typedef void* (*MallocFn)(size_t);
typedef void* (*ReallocFn)(void*, size_t);
typedef void (*FreeFn)(void*);

typedef struct {
    const Slot* table;
    MallocFn malloc_fn;
    ReallocFn realloc_fn;
    FreeFn free_fn;
} NodeHead;

typedef struct {
    uint8_t active;
    uint32_t count;
    uint32_t capacity;
    void** items;
    MallocFn malloc_fn;
    ReallocFn realloc_fn;
    FreeFn free_fn;
} ValueVector;

typedef struct {
    NodeHead head;
    double value;
} NumberNode;
typedef struct {
    NodeHead head;
    uint8_t value;
} BoolNode;
typedef struct {
    NodeHead head;
    wchar_t* text;
} StringNode;
typedef struct {
    NodeHead head;
    ValueVector* items;
} ArrayNode;
typedef struct {
    NodeHead head;
    ValueVector* keys;
    ValueVector* values;
} DictNode;

typedef void*(MSVC_MEMBER* DestructorFn)(void* self, uint32_t flags);
typedef int32_t(MSVC_MEMBER* GetTypeFn)(const void* self);

/* An argument of class type by value, as MSVC passes it: the handle itself on x86, the address
 * of the caller's handle on x64. Either way the callee destroys the object. */
#if defined(_WIN64)
#define BY_VALUE(handle) ((void*)&(handle))
#else
#define BY_VALUE(handle) (*(void**)&(handle))
#endif

#endif
