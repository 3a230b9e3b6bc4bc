/* Plays a host built with Microsoft's compiler: loads NexiloAgent.dll from the folder above, and
 * reaches the agent only through the MSVC-shaped tables of msvc_shapes.h. It offers a host
 * interface with its component manager and the plugins "HKSettings", "productinfo" and "evsink";
 * its own hostcore.dll beside it offers the "GlobalEventQueue". It registers a subscriber, makes
 * one cloud call, hands over a string and a value by value, sends a command, fires the queue's
 * work, stops and destroys the agent, and then checks that every block it lent was given back
 * exactly once. Prints each failed check and "msvc_host: PASS" at the end when all held. */
#include "host_values.h"

#include <stdio.h>
#include <string.h>
#include <windows.h>

static int g_checks, g_failures;

#define CHECK(condition, ...)                                                                      \
    do {                                                                                           \
        ++g_checks;                                                                                \
        if (!(condition)) {                                                                        \
            ++g_failures;                                                                          \
            fprintf(stderr, "FAIL line %d: ", __LINE__);                                           \
            fprintf(stderr, __VA_ARGS__);                                                          \
            fputc('\n', stderr);                                                                   \
        }                                                                                          \
    } while (0)

enum { kErrorNotFound = 1168, kErrorFunctionFailed = 1627 };

static bool SameIid(CvIid a, CvIid b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

/* ---- The settings plugin and its nodes: a small store of texts and numbers. ---- */

enum { kMaxEntries = 32, kTextRoom = 256 };
typedef struct {
    wchar_t key[64];
    bool isText;
    wchar_t text[kTextRoom];
    int64_t number;
} Entry;

static Entry g_entries[kMaxEntries];
static int g_entryCount;
static int g_nodeGets, g_nodeReleases, g_unreservedOut;

static Entry* FindEntry(const wchar_t* key, bool add) {
    for (int i = 0; i < g_entryCount; ++i) {
        if (wcscmp(g_entries[i].key, key) == 0) {
            return &g_entries[i];
        }
    }
    if (!add || g_entryCount == kMaxEntries || wcslen(key) >= 64) {
        return NULL;
    }
    Entry* entry = &g_entries[g_entryCount++];
    memset(entry, 0, sizeof *entry);
    wcscpy(entry->key, key);
    return entry;
}

/* Writes `text` into the caller's string as cv::StringT code of the host would: growing it
 * through the string's own memory manager (the caller's), never with the host's. */
static bool WriteString(wchar_t** out, const wchar_t* text) {
    if (*out == NULL) {
        ++g_unreservedOut;
        return false;
    }
    uint32_t length = (uint32_t)wcslen(text);
    unsigned char* block = (unsigned char*)*out - TEXT_OFFSET;
    StringRecord* record;
    memcpy(&record, block + RECORD_OFFSET, sizeof record);
    if (record->capacity < length) {
        block = SLOT(record->mem_mgr, 1, ReallocateFn)(record->mem_mgr, block, BLOCK_SIZE(length));
        if (block == NULL) {
            return false;
        }
        record->capacity = length;
        uint32_t guard = GUARD_WORD;
        memcpy(block + HEAD_GUARD_OFFSET, &guard, sizeof guard);
        memcpy(block + INNER_GUARD_OFFSET, &guard, sizeof guard);
        memcpy(block + TEXT_OFFSET + (length + 1) * sizeof(wchar_t), &guard, sizeof guard);
        *out = (wchar_t*)(block + TEXT_OFFSET);
    }
    memcpy(*out, text, (length + 1) * sizeof(wchar_t));
    record->length = length;
    return true;
}

static void* MSVC_MEMBER NodeQueryInterface(void* self, CvIid iid) {
    return SameIid(iid, kIidBase) ? self : NULL;
}
static bool MSVC_MEMBER NodeGetString(void* self, const wchar_t* key, wchar_t** out,
                                      uint32_t flags) {
    (void)self, (void)flags;
    Entry* entry = FindEntry(key, false);
    return entry != NULL && entry->isText && WriteString(out, entry->text);
}
static bool ReadNumber(const wchar_t* key, int64_t* number) {
    Entry* entry = FindEntry(key, false);
    if (entry == NULL || entry->isText) {
        return false;
    }
    *number = entry->number;
    return true;
}
static bool MSVC_MEMBER NodeGetInt(void* self, const wchar_t* key, int32_t* out, uint32_t flags) {
    (void)self, (void)flags;
    int64_t number;
    if (!ReadNumber(key, &number)) {
        return false;
    }
    *out = (int32_t)number;
    return true;
}
static bool MSVC_MEMBER NodeGetInt64(void* self, const wchar_t* key, int64_t* out, uint32_t flags) {
    (void)self, (void)flags;
    return ReadNumber(key, out);
}
static bool MSVC_MEMBER NodeGetBool(void* self, const wchar_t* key, bool* out, uint32_t flags) {
    (void)self, (void)flags;
    int64_t number;
    if (!ReadNumber(key, &number)) {
        return false;
    }
    *out = number != 0;
    return true;
}
static bool MSVC_MEMBER NodeSetString(void* self, const wchar_t* key, const wchar_t* value) {
    (void)self;
    Entry* entry = FindEntry(key, true);
    if (entry == NULL || value == NULL || wcslen(value) >= kTextRoom) {
        return false;
    }
    entry->isText = true;
    wcscpy(entry->text, value);
    return true;
}
static bool SetNumber(const wchar_t* key, int64_t value) {
    Entry* entry = FindEntry(key, true);
    if (entry == NULL) {
        return false;
    }
    entry->isText = false;
    entry->number = value;
    return true;
}
static bool MSVC_MEMBER NodeSetInt(void* self, const wchar_t* key, int32_t value) {
    (void)self;
    return SetNumber(key, value);
}
static bool MSVC_MEMBER NodeSetInt64(void* self, const wchar_t* key, int64_t value) {
    (void)self;
    return SetNumber(key, value);
}
static bool MSVC_MEMBER NodeSetBool(void* self, const wchar_t* key, bool value) {
    (void)self;
    return SetNumber(key, value ? 1 : 0);
}
static void MSVC_MEMBER NodeRelease(void* self) {
    (void)self;
    ++g_nodeReleases;
}

static const Slot kNodeTable[] = {
    (Slot)NodeQueryInterface, (Slot)NodeGetString, (Slot)NodeGetInt, (Slot)NodeGetInt64,
    (Slot)NodeGetBool,        (Slot)NodeSetString, (Slot)NodeSetInt, (Slot)NodeSetInt64,
    (Slot)NodeSetBool,        (Slot)NodeRelease};
static struct { const Slot* table; } g_node = {kNodeTable};

static void* MSVC_MEMBER SettingsQueryInterface(void* self, CvIid iid) {
    return SameIid(iid, kIidBase) || SameIid(iid, kIidHKSettings) ? self : NULL;
}
static void* MSVC_MEMBER SettingsGetNode(void* self, const wchar_t* path) {
    (void)self;
    if (path == NULL || path[0] != L'/') {
        return NULL;
    }
    ++g_nodeGets;
    return &g_node; /* One store serves every path: enough for the border's sake. */
}
static const Slot kSettingsTable[] = {(Slot)SettingsQueryInterface, (Slot)SettingsGetNode};
static struct { const Slot* table; } g_settings = {kSettingsTable};

/* ---- "productinfo" (slot 6 answers) and "evsink" (slot 1 takes the identity). ---- */

static const CvIid kIidProductInfo = {{0x5666C9D0, 0x666B9724, 0x61084666, 0xF666C93D}};
static const CvIid kIidDeviceDetectionEvents = {{0x15FD6ADC, 0x8EB2B0EC, 0x433B4883, 0x473D84ED}};

static void* MSVC_MEMBER InfoQueryInterface(void* self, CvIid iid) {
    return SameIid(iid, kIidBase) || SameIid(iid, kIidProductInfo) ? self : NULL;
}
static uint32_t MSVC_MEMBER InfoReserved(void* self) {
    (void)self;
    return 0;
}
static const wchar_t* MSVC_MEMBER InfoGetProductValue(void* self, int32_t index,
                                                      const wchar_t* section) {
    (void)self, (void)section;
    static const wchar_t* const kValues[] = {L"msvc-host", L"1.2.3.4", L"com.corvane.basicshield"};
    return index >= 1 && index <= 3 ? kValues[index - 1] : NULL;
}
static const Slot kInfoTable[] = {(Slot)InfoQueryInterface, (Slot)InfoReserved, (Slot)InfoReserved,
                                  (Slot)InfoReserved,       (Slot)InfoReserved, (Slot)InfoReserved,
                                  (Slot)InfoGetProductValue};
static struct { const Slot* table; } g_info = {kInfoTable};

static int g_userDataCalls;
static void* MSVC_MEMBER EvsinkQueryInterface(void* self, CvIid iid) {
    return SameIid(iid, kIidBase) || SameIid(iid, kIidDeviceDetectionEvents) ? self : NULL;
}
static uint32_t MSVC_MEMBER EvsinkSetUserData(void* self, const wchar_t* userToken,
                                              const wchar_t* deviceId, const wchar_t* appId) {
    (void)self;
    ++g_userDataCalls;
    CHECK(userToken != NULL && deviceId != NULL && appId != NULL, "SetUserData got a null text");
    return 0;
}
static const Slot kEvsinkTable[] = {(Slot)EvsinkQueryInterface, (Slot)EvsinkSetUserData};
static struct { const Slot* table; } g_evsink = {kEvsinkTable};

/* ---- The component manager and the host interface. ---- */

static int g_pluginGets, g_pluginReleases;

static void* MSVC_MEMBER ManagerQueryInterface(void* self, CvIid iid) {
    return SameIid(iid, kIidBase) ? self : NULL;
}
static uint32_t MSVC_MEMBER ManagerGetPlugin(void* self, const wchar_t* name, CvIid iid,
                                             void** plugin) {
    (void)self;
    void* found = NULL;
    if (wcscmp(name, L"HKSettings") == 0) {
        found = SettingsQueryInterface(&g_settings, iid);
    } else if (wcscmp(name, L"productinfo") == 0) {
        found = InfoQueryInterface(&g_info, iid);
    } else if (wcscmp(name, L"evsink") == 0) {
        found = EvsinkQueryInterface(&g_evsink, iid);
    }
    *plugin = found;
    g_pluginGets += found != NULL;
    return found != NULL ? 0 : kErrorNotFound;
}
static uint32_t MSVC_MEMBER ManagerReleasePlugin(void* self, const wchar_t* name) {
    (void)self, (void)name;
    ++g_pluginReleases;
    return 0;
}
static const Slot kManagerTable[] = {(Slot)ManagerQueryInterface, (Slot)ManagerGetPlugin,
                                     (Slot)ManagerReleasePlugin};
static struct { const Slot* table; } g_manager = {kManagerTable};

static void* MSVC_MEMBER HostQueryInterface(void* self, CvIid iid) {
    return SameIid(iid, kIidBase) ? self : NULL;
}
static void* MSVC_MEMBER HostGetComponentManager(void* self) {
    (void)self;
    return &g_manager;
}
static const Slot kHostTable[] = {(Slot)HostQueryInterface, (Slot)HostGetComponentManager};
static struct { const Slot* table; } g_host = {kHostTable};

/* ---- The subscriber: reads every payload through the nodes' slots. ---- */

static volatile LONG g_events, g_campaignEvents, g_unreadablePayloads;

static void MSVC_MEMBER SubscriberOnEvent(void* self, const wchar_t* name, NodeHead* const* data) {
    (void)self;
    InterlockedIncrement(&g_events);
    if (!ReadableTree(*data)) {
        InterlockedIncrement(&g_unreadablePayloads);
    }
    if (wcscmp(name, L"new_campaign") == 0 && ValueType(*data) == TYPE_DICT) {
        InterlockedIncrement(&g_campaignEvents);
    }
}
static const Slot kSubscriberTable[] = {(Slot)SubscriberOnEvent};
static struct { const Slot* table; } g_subscriber = {kSubscriberTable};

/* ---- The agent's tables. ---- */

typedef uint32_t(__cdecl* CreateObjectFn)(const wchar_t* name, CvIid iid, void** object);
typedef void(__cdecl* DestroyObjectFn)(const wchar_t* name, void* object);
typedef void*(MSVC_MEMBER* QueryInterfaceFn)(void* self, CvIid iid);
typedef uint32_t(MSVC_MEMBER* InitFn)(void* self, void* host);
typedef void(MSVC_MEMBER* UnInitFn)(void* self);
typedef uint32_t(MSVC_MEMBER* SubscriberFn)(void* self, void* events);
typedef uint32_t(MSVC_MEMBER* AskFn)(void* self, const wchar_t* service, const wchar_t* method,
                                     NodeHead* const* params, NodeHead** result, bool* isError,
                                     NodeHead* const* destination);
/* The by-value argument, as BY_VALUE gives it. */
typedef uint32_t(MSVC_MEMBER* ByValueFn)(void* self, void* argument);
typedef uint32_t(MSVC_MEMBER* SendCommandFn)(void* self, NodeHead* const* request, uint32_t word);

enum {
    kSlotRegisterEvents = 0,
    kSlotUnregisterEvents = 1,
    kSlotAsk = 2,
    kSlotSetLanguage = 8,
    kSlotUpdateCurrentCampaign = 12,
    kSlotSendCommand = 13,
    kSlotInit = 1,
    kSlotUnInit = 2
};

/* A dev kit home of its own, with the cloud stand-in's script. */
static bool PrepareHome(wchar_t* home, size_t room) {
    wchar_t temp[MAX_PATH];
    if (GetTempPathW(MAX_PATH, temp) == 0) {
        return false;
    }
    _snwprintf(home, room, L"%lsnexilo-msvc-host-%lu", temp, GetCurrentProcessId());
    home[room - 1] = 0;
    wchar_t cloud[MAX_PATH + 32];
    _snwprintf(cloud, MAX_PATH + 32, L"%ls\\cloud", home);
    cloud[MAX_PATH + 31] = 0;
    if ((!CreateDirectoryW(home, NULL) && GetLastError() != ERROR_ALREADY_EXISTS) ||
        (!CreateDirectoryW(cloud, NULL) && GetLastError() != ERROR_ALREADY_EXISTS)) {
        return false;
    }
    wchar_t script[MAX_PATH + 64];
    _snwprintf(script, MAX_PATH + 64, L"%ls\\script.json", cloud);
    script[MAX_PATH + 63] = 0;
    FILE* file = _wfopen(script, L"wb");
    if (file == NULL) {
        return false;
    }
    fputs(
        "{\"services\": {\"nexilo/user_info\": {\"getInfo\": {\"result\": {\"name\": \"Ada\"}}}}}",
        file);
    fclose(file);
    return SetEnvironmentVariableW(L"NEXILO_DEVKIT_HOME", home) != 0;
}

/* The module beside this program's folder: <bin>\msvc_host\msvc_host.exe -> <bin>\NexiloAgent.dll.
 */
static HMODULE LoadAgentModule(void) {
    wchar_t path[MAX_PATH];
    DWORD length = GetModuleFileNameW(NULL, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH) {
        return NULL;
    }
    for (int cut = 0; cut < 2; ++cut) {
        wchar_t* slash = wcsrchr(path, L'\\');
        if (slash == NULL) {
            return NULL;
        }
        *slash = 0;
    }
    if (wcslen(path) + 20 >= MAX_PATH) {
        return NULL;
    }
    wcscat(path, L"\\NexiloAgent.dll");
    return LoadLibraryExW(path, NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
}

static void UseTheAgent(void* agent) {
    void* subscriber = &g_subscriber;
    CHECK(SLOT(agent, kSlotRegisterEvents, SubscriberFn)(agent, subscriber) == 0, "RegisterEvents");
    CHECK(SLOT(agent, kSlotRegisterEvents, SubscriberFn)(agent, subscriber) == kErrorFunctionFailed,
          "a second RegisterEvents of one subscriber");

    /* A cloud call: the module reads the host's dictionary, the host reads the module's reply. */
    NodeHead* params = MakeDict();
    DictSet(params, L"nexilo_source", MakeStringValue(L"replaced"));
    NodeHead* result = NULL;
    NodeHead* destination = NULL;
    bool isError = true;
    uint32_t asked = SLOT(agent, kSlotAsk, AskFn)(agent, L"nexilo/user_info", L"getInfo", &params,
                                                  &result, &isError, &destination);
    CHECK(asked == 0 && !isError, "Ask answered %u, isError %d", asked, isError);
    CHECK(ReadableTree(result), "the reply cannot be read through its slots");
    const wchar_t* name = StringText(DictGet(result, L"name"));
    CHECK(name != NULL && wcscmp(name, L"Ada") == 0, "the reply's name is %ls",
          name != NULL ? name : L"(none)");
    if (result != NULL) {
        /* As MSVC's delete of a node would: the module's code frees its own node. */
        SLOT(result, 0, DestructorFn)(result, DELETE_MEMORY);
    }
    int destroyed = HostNodesDestroyed();
    DestroyValue(params);
    CHECK(HostNodesDestroyed() == destroyed + 2, "the host's parameters were destroyed elsewhere");

    /* By value: the agent takes the string and destroys the host's copy, once. */
    int releases = MemMgrReleases();
    wchar_t* language = MakeString(L"de-de");
    uint32_t set = SLOT(agent, kSlotSetLanguage, ByValueFn)(agent, BY_VALUE(language));
    CHECK(set == 0 || set == 120 || set == 0xFFFFFFFFu, "SetLanguage answered %u", set);
    CHECK(MemMgrReleases() == releases + 1, "SetLanguage let go of the host's string %d times",
          MemMgrReleases() - releases);

    NodeHead* campaign = MakeDict();
    DictSet(campaign, L"id", MakeStringValue(L"spring"));
    DictSet(campaign, L"display_count", MakeNumberValue(3));
    destroyed = HostNodesDestroyed();
    uint32_t updated =
        SLOT(agent, kSlotUpdateCurrentCampaign, ByValueFn)(agent, BY_VALUE(campaign));
    CHECK(updated == 0 || updated == 120, "UpdateCurrentCampaign answered %u", updated);
    CHECK(HostNodesDestroyed() == destroyed + 3,
          "UpdateCurrentCampaign destroyed %d of the campaign's 3 nodes",
          HostNodesDestroyed() - destroyed);

    /* A command whose answer is an event with a dictionary, where the agent offers it. */
    NodeHead* request = MakeDict();
    DictSet(request, L"method", MakeStringValue(L"trigger_ipm"));
    LONG campaigns = g_campaignEvents;
    uint32_t sent = SLOT(agent, kSlotSendCommand, SendCommandFn)(agent, &request, 0);
    CHECK(sent == 0 || sent == 120, "SendCommand answered %u", sent);
    if (sent == 0) {
        CHECK(g_campaignEvents == campaigns + 1, "trigger_ipm fired no \"new_campaign\"");
    }
    DestroyValue(request);

    CHECK(SLOT(agent, kSlotUnregisterEvents, SubscriberFn)(agent, subscriber) == 0,
          "UnregisterEvents");
    CHECK(SLOT(agent, kSlotUnregisterEvents, SubscriberFn)(agent, subscriber) ==
              kErrorFunctionFailed,
          "a second UnregisterEvents");
}

int wmain(void) {
    wchar_t home[MAX_PATH];
    if (!PrepareHome(home, MAX_PATH)) {
        fprintf(stderr, "msvc_host: cannot prepare a dev kit home\n");
        return 2;
    }
    HMODULE module = LoadAgentModule();
    if (module == NULL) {
        fprintf(stderr, "msvc_host: cannot load NexiloAgent.dll (%lu)\n", GetLastError());
        return 2;
    }
    CreateObjectFn create =
        (CreateObjectFn)(void (*)(void))GetProcAddress(module, "CvCreateObject");
    DestroyObjectFn destroy =
        (DestroyObjectFn)(void (*)(void))GetProcAddress(module, "CvDestroyObject");
    if (create == NULL || destroy == NULL) {
        fprintf(stderr, "msvc_host: the factory exports are missing\n");
        return 2;
    }

    void* base = NULL;
    CHECK(create(L"Nexilo.NexiloAgent", kIidBase, &base) == 0 && base != NULL, "CvCreateObject");
    if (base == NULL) {
        return 1;
    }
    void* plugin = SLOT(base, 0, QueryInterfaceFn)(base, kIidServPlugin);
    void* agent = SLOT(base, 0, QueryInterfaceFn)(base, kIidAgent);
    CHECK(plugin == base, "the plug-in interface is the object's first table");
    CHECK(agent != NULL && agent != base, "the agent interface is a table of its own");

    uint32_t started = SLOT(plugin, kSlotInit, InitFn)(plugin, &g_host);
    CHECK(started == 0, "Init answered %u", started);
    if (started == 0 && agent != NULL) {
        UseTheAgent(agent);
    }

    /* The queue's work, through the items' slots: a run now, the rest when the agent stops. */
    /* A reference of the host's own: the agent unloads the queue's module when it stops. */
    HMODULE hostcore = NULL;
    GetModuleHandleExW(0, L"hostcore.dll", &hostcore);
    CHECK(hostcore != NULL, "the agent did not load this host's hostcore.dll");
    int (*fireAll)(void) = NULL;
    void (*counts)(int*, int*, int*, int*, int*, int*) = NULL;
    if (hostcore != NULL) {
        fireAll = (int (*)(void))(void (*)(void))GetProcAddress(hostcore, "FireAll");
        counts = (void (*)(int*, int*, int*, int*, int*, int*))(void (*)(void))GetProcAddress(
            hostcore, "QueueCounts");
        CHECK(fireAll != NULL && counts != NULL,
              "a hostcore.dll other than this host's was loaded");
    }
    int fired = fireAll != NULL ? fireAll() : 0;

    SLOT(plugin, kSlotUnInit, UnInitFn)(plugin);
    destroy(L"Nexilo.NexiloAgent", base);

    if (counts != NULL) {
        int created, destroyedQueues, posted, runs, itemReleases, open;
        counts(&created, &destroyedQueues, &posted, &runs, &itemReleases, &open);
        CHECK(created == 1 && destroyedQueues == 1, "queues made %d, destroyed %d", created,
              destroyedQueues);
        CHECK(open == 0, "%d posts still open after UnInit", open);
        CHECK(itemReleases == 2 * posted, "%d posts, %d items released", posted, itemReleases);
        CHECK(runs == fired + posted, "%d posts fired %d times, %d runs in all", posted, fired,
              runs);
        printf("msvc_host: queue: %d posts, %d runs, %d items released\n", posted, runs,
               itemReleases);
    }
    CHECK(g_pluginGets == g_pluginReleases, "plugins got %d, released %d", g_pluginGets,
          g_pluginReleases);
    CHECK(g_nodeGets == g_nodeReleases, "settings nodes got %d, released %d", g_nodeGets,
          g_nodeReleases);
    CHECK(g_unreservedOut == 0, "GetString was handed %d strings without a block", g_unreservedOut);
    CHECK(g_unreadablePayloads == 0, "%ld event payloads were unreadable", g_unreadablePayloads);
    printf("msvc_host: %ld events, %d settings entries, %d identities to evsink\n", g_events,
           g_entryCount, g_userDataCalls);

    FreeRecords();
    CHECK(LiveBlocks() == 0, "%d blocks of the host's allocator were never freed", LiveBlocks());
    CHECK(BadFrees() == 0, "%d frees of blocks that were not live", BadFrees());

    FreeLibrary(module);
    if (hostcore != NULL) {
        FreeLibrary(hostcore);
    }
    wchar_t script[MAX_PATH + 64];
    _snwprintf(script, MAX_PATH + 64, L"%ls\\cloud\\script.json", home);
    script[MAX_PATH + 63] = 0;
    DeleteFileW(script);

    printf("msvc_host: %d checks, %d failed\n", g_checks, g_failures);
    if (g_failures == 0) {
        printf("msvc_host: PASS\n");
    }
    return g_failures == 0 ? 0 : 1;
}
