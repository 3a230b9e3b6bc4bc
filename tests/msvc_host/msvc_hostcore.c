/* A "GlobalEventQueue" as a host built with Microsoft's compiler offers it: hostcore.dll's
 * factory exports in C and a queue that calls the module's work items through MSVC's slots
 * (0 the scalar deleting destructor, 1 Release, 2 Run).
 *
 * The queue runs nothing by itself: PostNow and PostTimed keep the items, FireAll (an extra
 * export for the conformance host) runs each pending item's `run` once on the caller's thread,
 * and the work completes, `finished` running and both items released, when it is canceled or
 * the handle closed. Wait then finds it complete. That keeps the test deterministic. */
#include "msvc_shapes.h"

#include <string.h>
#include <windows.h>

#define EXPORT __declspec(dllexport)

enum { kMaxPosts = 32 };
enum { kErrorInvalidHandle = 6, kErrorInvalidParameter = 87, kErrorNotFound = 1168 };

typedef struct {
    uint32_t id;
    void* run;
    void* finished;
    bool complete;
} Post;

static struct { const Slot* table; } g_queue;
static SRWLOCK g_lock = SRWLOCK_INIT;
static Post g_posts[kMaxPosts];
static int g_postCount;
static uint32_t g_nextId = 1;
static bool g_closed;
static int g_runs, g_releases, g_posted, g_created, g_destroyed;

typedef void(MSVC_MEMBER* ItemFn)(void* self);

static void Complete(Post* post) {
    if (post->complete) {
        return;
    }
    post->complete = true;
    if (post->finished != NULL) {
        SLOT(post->finished, 2, ItemFn)(post->finished);
        ++g_runs;
        SLOT(post->finished, 1, ItemFn)(post->finished);
        ++g_releases;
    }
    SLOT(post->run, 1, ItemFn)(post->run);
    ++g_releases;
}

static Post* Find(uint32_t id) {
    for (int i = 0; i < g_postCount; ++i) {
        if (g_posts[i].id == id) {
            return &g_posts[i];
        }
    }
    return NULL;
}

static void* MSVC_MEMBER QueueQueryInterface(void* self, CvIid iid) {
    return memcmp(&iid, &kIidBase, sizeof iid) == 0 ||
                   memcmp(&iid, &kIidEventQueue, sizeof iid) == 0
               ? self
               : NULL;
}
static uint32_t MSVC_MEMBER QueueInitialise(void* self, int32_t workers) {
    (void)self;
    return workers > 0 ? 0 : kErrorInvalidParameter;
}
static uint32_t MSVC_MEMBER QueueClose(void* self) {
    (void)self;
    AcquireSRWLockExclusive(&g_lock);
    g_closed = true;
    for (int i = 0; i < g_postCount; ++i) {
        Complete(&g_posts[i]);
    }
    ReleaseSRWLockExclusive(&g_lock);
    return 0;
}
static uint32_t Enqueue(uint32_t* id, void* run, void* finished) {
    AcquireSRWLockExclusive(&g_lock);
    uint32_t result = 0;
    if (g_closed || run == NULL || g_postCount == kMaxPosts) {
        /* A refused post frees both items at once, without running either. */
        if (run != NULL) {
            SLOT(run, 1, ItemFn)(run);
        }
        if (finished != NULL) {
            SLOT(finished, 1, ItemFn)(finished);
        }
        result = g_closed ? kErrorInvalidHandle : kErrorInvalidParameter;
    } else {
        Post* post = &g_posts[g_postCount++];
        post->id = g_nextId++;
        post->run = run;
        post->finished = finished;
        post->complete = false;
        *id = post->id;
        ++g_posted;
    }
    ReleaseSRWLockExclusive(&g_lock);
    return result;
}
static uint32_t MSVC_MEMBER QueuePostNow(void* self, const wchar_t* name, uint32_t* id, void* run,
                                         void* finished, uint32_t reserved1, uint32_t reserved2) {
    (void)self, (void)name, (void)reserved1, (void)reserved2;
    return Enqueue(id, run, finished);
}
static uint32_t MSVC_MEMBER QueuePostTimed(void* self, const wchar_t* name, uint32_t* id,
                                           int32_t firstDelayMs, int32_t periodMs, void* run,
                                           void* finished, uint32_t reserved1, uint32_t reserved2) {
    (void)self, (void)name, (void)firstDelayMs, (void)periodMs, (void)reserved1, (void)reserved2;
    return Enqueue(id, run, finished);
}
static uint32_t MSVC_MEMBER QueueReserved(void* self) {
    (void)self;
    return 0;
}
static uint32_t MSVC_MEMBER QueueWait(void* self, uint32_t id, uint32_t timeoutMs) {
    (void)self, (void)timeoutMs;
    AcquireSRWLockExclusive(&g_lock);
    Post* post = Find(id);
    /* Nothing runs by itself here, so waiting for incomplete work would never end. */
    uint32_t result = post == NULL ? kErrorNotFound : post->complete ? 0 : 1460;
    ReleaseSRWLockExclusive(&g_lock);
    return result;
}
static uint32_t MSVC_MEMBER QueueCancel(void* self, uint32_t id) {
    (void)self;
    AcquireSRWLockExclusive(&g_lock);
    Post* post = Find(id);
    if (post != NULL) {
        Complete(post);
    }
    ReleaseSRWLockExclusive(&g_lock);
    return post == NULL ? kErrorNotFound : 0;
}
static uint32_t MSVC_MEMBER QueueReleaseId(void* self, uint32_t id) {
    (void)self;
    AcquireSRWLockExclusive(&g_lock);
    Post* post = Find(id);
    if (post != NULL) {
        *post = g_posts[--g_postCount];
    }
    ReleaseSRWLockExclusive(&g_lock);
    return post == NULL ? kErrorNotFound : 0;
}

static const Slot kQueueTable[] = {
    (Slot)QueueQueryInterface, (Slot)QueueInitialise, (Slot)QueueClose,
    (Slot)QueuePostNow,        (Slot)QueuePostTimed,  (Slot)QueueReserved,
    (Slot)QueueWait,           (Slot)QueueCancel,     (Slot)QueueReleaseId};

EXPORT uint32_t __cdecl CvCreateObject(const wchar_t* name, CvIid iid, void** object) {
    *object = NULL;
    if (wcscmp(name, L"GlobalEventQueue") != 0) {
        return kErrorNotFound;
    }
    g_queue.table = kQueueTable;
    *object = QueueQueryInterface(&g_queue, iid);
    g_created += *object != NULL;
    return *object != NULL ? 0 : kErrorNotFound;
}

EXPORT void __cdecl CvDestroyObject(const wchar_t* name, void* object) {
    if (wcscmp(name, L"GlobalEventQueue") == 0 && object == &g_queue) {
        ++g_destroyed;
    }
}

/* Runs the `run` item of every pending post once, on the caller's thread; returns how many. */
EXPORT int __cdecl FireAll(void) {
    AcquireSRWLockExclusive(&g_lock);
    int fired = 0;
    for (int i = 0; i < g_postCount; ++i) {
        if (!g_posts[i].complete) {
            /* The lock stays held: an item that posts again would wait here, which this test's
             * agent does not do. */
            SLOT(g_posts[i].run, 2, ItemFn)(g_posts[i].run);
            ++g_runs;
            ++fired;
        }
    }
    ReleaseSRWLockExclusive(&g_lock);
    return fired;
}

/* What the queue saw: objects made and destroyed, posts, runs, item releases, posts open. */
EXPORT void __cdecl QueueCounts(int* created, int* destroyed, int* posted, int* runs, int* releases,
                                int* open) {
    AcquireSRWLockExclusive(&g_lock);
    *created = g_created;
    *destroyed = g_destroyed;
    *posted = g_posted;
    *runs = g_runs;
    *releases = g_releases;
    *open = 0;
    for (int i = 0; i < g_postCount; ++i) {
        *open += !g_posts[i].complete;
    }
    ReleaseSRWLockExclusive(&g_lock);
}
