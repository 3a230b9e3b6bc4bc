/* Strings and values that the MSVC-shaped host makes with its own memory, and the reading of
 * those the module makes, through the layouts and slots of msvc_shapes.h. Everything the host
 * allocates is counted, so the test can tell that the module freed each block exactly once. */
#ifndef NEXILO_TESTS_HOST_VALUES_H
#define NEXILO_TESTS_HOST_VALUES_H

#include "msvc_shapes.h"

/* The host's allocator: malloc, realloc and free that keep a table of live blocks. */
void* CountingMalloc(size_t size);
void* CountingRealloc(void* block, size_t size);
void CountingFree(void* block);
/* Blocks still live; frees of blocks that were not live (double or foreign frees). */
int LiveBlocks(void);
int BadFrees(void);

/* The host's cv::IMemMgr, on the counting allocator, and how often strings let go of it. */
void* HostMemMgr(void);
int MemMgrReleases(void);

/* A string handle (its text pointer) on a block of the host's memory manager; its record is the
 * host's and stays with the host (record_owned 0) until FreeRecords. */
wchar_t* MakeString(const wchar_t* text);
/* Releases a string as cv::StringT does: through its record's memory manager. */
void ReleaseString(wchar_t* text);
void FreeRecords(void);

/* Value nodes whose code is the host's: destroyed through their slot 0, which counts. */
NodeHead* MakeStringValue(const wchar_t* text);
NodeHead* MakeNumberValue(double value);
NodeHead* MakeDict(void);
/* Adds a pair to a dictionary made by MakeDict; the dictionary takes the value node. */
void DictSet(NodeHead* dict, const wchar_t* key, NodeHead* value);
int HostNodesDestroyed(void);
/* Destroys a node as cv::Value does, whoever made it: slot 0 without freeing, then free. */
void DestroyValue(NodeHead* node);

/* Reading any node through its slots: the kind, a dictionary's value under `key` (or null), and
 * a string's text (or null). */
int32_t ValueType(const NodeHead* node);
const NodeHead* DictGet(const NodeHead* dict, const wchar_t* key);
const wchar_t* StringText(const NodeHead* node);
/* True when every node of the tree answers a kind from 0 to 5 and its strings' guards hold. */
bool ReadableTree(const NodeHead* node);

#endif
