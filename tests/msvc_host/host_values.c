#include "host_values.h"

#include <stdlib.h>
#include <string.h>
#include <windows.h>

/* The module may call the host's memory manager from its own threads. */
static SRWLOCK g_lock = SRWLOCK_INIT;
enum { kMaxLive = 1024 };
static void* g_live[kMaxLive];
static int g_liveCount;
static int g_badFrees;

static void Remember(void* block) {
    if (block == NULL) {
        return;
    }
    AcquireSRWLockExclusive(&g_lock);
    if (g_liveCount < kMaxLive) {
        g_live[g_liveCount++] = block;
    }
    ReleaseSRWLockExclusive(&g_lock);
}

/* False when `block` was not live. */
static bool Forget(void* block) {
    bool found = false;
    AcquireSRWLockExclusive(&g_lock);
    for (int i = 0; i < g_liveCount; ++i) {
        if (g_live[i] == block) {
            g_live[i] = g_live[--g_liveCount];
            found = true;
            break;
        }
    }
    if (!found) {
        ++g_badFrees;
    }
    ReleaseSRWLockExclusive(&g_lock);
    return found;
}

void* CountingMalloc(size_t size) {
    void* block = malloc(size);
    Remember(block);
    return block;
}

void* CountingRealloc(void* block, size_t size) {
    if (block != NULL && !Forget(block)) {
        return NULL;
    }
    void* grown = realloc(block, size);
    Remember(grown != NULL ? grown : block);
    return grown;
}

void CountingFree(void* block) {
    if (block != NULL && Forget(block)) {
        free(block);
    }
}

int LiveBlocks(void) {
    AcquireSRWLockExclusive(&g_lock);
    int count = g_liveCount;
    ReleaseSRWLockExclusive(&g_lock);
    return count;
}

int BadFrees(void) {
    AcquireSRWLockExclusive(&g_lock);
    int count = g_badFrees;
    ReleaseSRWLockExclusive(&g_lock);
    return count;
}

/* The memory manager object. */
static volatile LONG g_releases;

static void* MSVC_MEMBER MemAllocate(void* self, size_t size) {
    (void)self;
    return CountingMalloc(size);
}
static void* MSVC_MEMBER MemReallocate(void* self, void* block, size_t size) {
    (void)self;
    return CountingRealloc(block, size);
}
static void MSVC_MEMBER MemFree(void* self, void* block) {
    (void)self;
    CountingFree(block);
}
static void MSVC_MEMBER MemRelease(void* self) {
    (void)self;
    InterlockedIncrement(&g_releases);
}

static const Slot kMemMgrTable[] = {(Slot)MemAllocate, (Slot)MemReallocate, (Slot)MemFree,
                                    (Slot)MemRelease};
static struct { const Slot* table; } g_memMgr = {kMemMgrTable};

void* HostMemMgr(void) {
    return &g_memMgr;
}

int MemMgrReleases(void) {
    return (int)g_releases;
}

/* Strings. */
enum { kMaxRecords = 64 };
static StringRecord* g_records[kMaxRecords];
static int g_recordCount;

static void PutWord(unsigned char* at, uint32_t word) {
    memcpy(at, &word, sizeof word);
}
static uint32_t GetWord(const unsigned char* at) {
    uint32_t word;
    memcpy(&word, at, sizeof word);
    return word;
}
static unsigned char* BlockOf(const wchar_t* text) {
    return (unsigned char*)text - TEXT_OFFSET;
}
static StringRecord* RecordOf(const wchar_t* text) {
    StringRecord* record;
    memcpy(&record, BlockOf(text) + RECORD_OFFSET, sizeof record);
    return record;
}

wchar_t* MakeString(const wchar_t* text) {
    uint32_t length = (uint32_t)wcslen(text);
    uint32_t capacity = length < 64 ? 64 : length;
    void* memMgr = HostMemMgr();
    unsigned char* block = SLOT(memMgr, 0, AllocateFn)(memMgr, BLOCK_SIZE(capacity));
    StringRecord* record = CountingMalloc(sizeof *record);
    if (block == NULL || record == NULL || g_recordCount == kMaxRecords) {
        abort();
    }
    g_records[g_recordCount++] = record;
    record->mem_mgr = memMgr;
    record->length = length;
    record->capacity = capacity;
    record->growth = 64;
    record->buffer_owned = 1;
    record->record_owned = 0;
    PutWord(block + HEAD_GUARD_OFFSET, GUARD_WORD);
    memcpy(block + RECORD_OFFSET, &record, sizeof record);
    PutWord(block + INNER_GUARD_OFFSET, GUARD_WORD);
    wchar_t* chars = (wchar_t*)(block + TEXT_OFFSET);
    memcpy(chars, text, (length + 1) * sizeof(wchar_t));
    PutWord((unsigned char*)(chars + capacity + 1), GUARD_WORD);
    return chars;
}

void ReleaseString(wchar_t* text) {
    if (text == NULL) {
        return;
    }
    StringRecord* record = RecordOf(text);
    void* memMgr = record->mem_mgr;
    if (record->buffer_owned) {
        SLOT(memMgr, 2, FreeBlockFn)(memMgr, BlockOf(text));
    }
    SLOT(memMgr, 3, ReleaseFn)(memMgr);
}

void FreeRecords(void) {
    while (g_recordCount > 0) {
        CountingFree(g_records[--g_recordCount]);
    }
}

/* Nodes made by the host. */
static volatile LONG g_destroyed;

static void* EndNode(void* node, uint32_t flags) {
    InterlockedIncrement(&g_destroyed);
    if (flags & DELETE_MEMORY) {
        free(node);
    }
    return node;
}

static void* MSVC_MEMBER StringNodeEnd(void* self, uint32_t flags) {
    ReleaseString(((StringNode*)self)->text);
    return EndNode(self, flags);
}
static int32_t MSVC_MEMBER StringNodeType(const void* self) {
    (void)self;
    return TYPE_STRING;
}
static void* MSVC_MEMBER NumberNodeEnd(void* self, uint32_t flags) {
    return EndNode(self, flags);
}
static int32_t MSVC_MEMBER NumberNodeType(const void* self) {
    (void)self;
    return TYPE_NUMBER;
}

static void FreeVector(ValueVector* vector, bool keys) {
    for (uint32_t i = 0; i < vector->count; ++i) {
        if (keys) {
            ReleaseString(vector->items[i]);
        } else {
            DestroyValue(vector->items[i]);
        }
    }
    vector->free_fn(vector->items);
    free(vector);
}

static void* MSVC_MEMBER DictNodeEnd(void* self, uint32_t flags) {
    DictNode* dict = self;
    FreeVector(dict->values, false);
    FreeVector(dict->keys, true);
    return EndNode(self, flags);
}
static int32_t MSVC_MEMBER DictNodeType(const void* self) {
    (void)self;
    return TYPE_DICT;
}

static const Slot kStringNodeTable[] = {(Slot)StringNodeEnd, (Slot)StringNodeType};
static const Slot kNumberNodeTable[] = {(Slot)NumberNodeEnd, (Slot)NumberNodeType};
static const Slot kDictNodeTable[] = {(Slot)DictNodeEnd, (Slot)DictNodeType};

/* The node's memory comes from the C runtime, since whoever destroys a value frees it so. */
static void* NewNode(size_t size, const Slot* table) {
    NodeHead* node = calloc(1, size);
    if (node == NULL) {
        abort();
    }
    node->table = table;
    node->malloc_fn = CountingMalloc;
    node->realloc_fn = CountingRealloc;
    node->free_fn = CountingFree;
    return node;
}

NodeHead* MakeStringValue(const wchar_t* text) {
    StringNode* node = NewNode(sizeof *node, kStringNodeTable);
    node->text = MakeString(text);
    return &node->head;
}

NodeHead* MakeNumberValue(double value) {
    NumberNode* node = NewNode(sizeof *node, kNumberNodeTable);
    node->value = value;
    return &node->head;
}

static ValueVector* NewVector(void) {
    ValueVector* vector = calloc(1, sizeof *vector);
    if (vector == NULL) {
        abort();
    }
    vector->active = 1;
    vector->capacity = 8;
    vector->malloc_fn = CountingMalloc;
    vector->realloc_fn = CountingRealloc;
    vector->free_fn = CountingFree;
    vector->items = vector->malloc_fn(vector->capacity * sizeof(void*));
    return vector;
}

static void Push(ValueVector* vector, void* item) {
    if (vector->count == vector->capacity) {
        vector->capacity *= 2;
        vector->items = vector->realloc_fn(vector->items, vector->capacity * sizeof(void*));
    }
    vector->items[vector->count++] = item;
}

NodeHead* MakeDict(void) {
    DictNode* node = NewNode(sizeof *node, kDictNodeTable);
    node->keys = NewVector();
    node->values = NewVector();
    return &node->head;
}

void DictSet(NodeHead* dict, const wchar_t* key, NodeHead* value) {
    Push(((DictNode*)dict)->keys, MakeString(key));
    Push(((DictNode*)dict)->values, value);
}

int HostNodesDestroyed(void) {
    return (int)g_destroyed;
}

void DestroyValue(NodeHead* node) {
    if (node != NULL) {
        SLOT(node, 0, DestructorFn)(node, 0);
        free(node);
    }
}

/* Reading. */
int32_t ValueType(const NodeHead* node) {
    return node == NULL ? TYPE_NULL : SLOT(node, 1, GetTypeFn)(node);
}

const NodeHead* DictGet(const NodeHead* dict, const wchar_t* key) {
    if (ValueType(dict) != TYPE_DICT) {
        return NULL;
    }
    const DictNode* node = (const DictNode*)dict;
    for (uint32_t i = 0; i < node->keys->count; ++i) {
        const wchar_t* name = node->keys->items[i];
        if (name != NULL && wcscmp(name, key) == 0) {
            return node->values->items[i];
        }
    }
    return NULL;
}

const wchar_t* StringText(const NodeHead* node) {
    return ValueType(node) == TYPE_STRING ? ((const StringNode*)node)->text : NULL;
}

static bool GuardsHold(const wchar_t* text) {
    if (text == NULL) {
        return true;
    }
    const unsigned char* block = BlockOf(text);
    const StringRecord* record = RecordOf(text);
    return GetWord(block + HEAD_GUARD_OFFSET) == GUARD_WORD &&
           GetWord(block + INNER_GUARD_OFFSET) == GUARD_WORD &&
           GetWord((const unsigned char*)(text + record->capacity + 1)) == GUARD_WORD &&
           record->length <= record->capacity && text[record->length] == 0;
}

bool ReadableTree(const NodeHead* node) {
    switch (ValueType(node)) {
        case TYPE_NULL:
        case TYPE_NUMBER:
        case TYPE_BOOL:
            return true;
        case TYPE_STRING:
            return GuardsHold(StringText(node));
        case TYPE_ARRAY: {
            const ValueVector* items = ((const ArrayNode*)node)->items;
            for (uint32_t i = 0; i < items->count; ++i) {
                if (!ReadableTree(items->items[i])) {
                    return false;
                }
            }
            return true;
        }
        case TYPE_DICT: {
            const DictNode* dict = (const DictNode*)node;
            if (dict->keys->count != dict->values->count) {
                return false;
            }
            for (uint32_t i = 0; i < dict->keys->count; ++i) {
                if (!GuardsHold(dict->keys->items[i]) || !ReadableTree(dict->values->items[i])) {
                    return false;
                }
            }
            return true;
        }
        default:
            return false;
    }
}
