// An IEventQueue that only notes what it is asked, in order: "PostNow <name> <id>",
// "PostTimed <name> <id>", "Cancel <id>", "Wait <id>", "ReleaseId <id>", "Close". It runs nothing
// and waits for nothing, unlike a real queue, so a caller's missing step shows in the notes. It
// owns the items it is given and releases them when waited for or destroyed. Not thread-safe.
#pragma once

#include "nexilo/event_queue.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace frame_testing {

class RecordingEventQueue final : public IEventQueue {
public:
    ~RecordingEventQueue() {
        for (auto& [id, items] : m_items) {
            ReleaseItems(items);
        }
    }

    void* QueryInterface(CvIid) override { return nullptr; }
    std::uint32_t Initialise(std::int32_t) override { return 0; }
    std::uint32_t Close() override { return Note("Close"); }
    std::uint32_t PostNow(const wchar_t* name, std::uint32_t* id, EqWorkItem* run,
                          EqWorkItem* finished, std::uint32_t, std::uint32_t) override {
        return Post("PostNow", name, id, run, finished);
    }
    std::uint32_t PostTimed(const wchar_t* name, std::uint32_t* id, std::int32_t, std::int32_t,
                            EqWorkItem* run, EqWorkItem* finished, std::uint32_t,
                            std::uint32_t) override {
        return Post("PostTimed", name, id, run, finished);
    }
    std::uint32_t ReservedSlot5() override { return 0; }
    std::uint32_t Wait(std::uint32_t id, std::uint32_t) override {
        if (auto found = m_items.find(id); found != m_items.end()) {
            ReleaseItems(found->second);
            m_items.erase(found);
        }
        return Note("Wait " + std::to_string(id));
    }
    std::uint32_t Cancel(std::uint32_t id) override { return Note("Cancel " + std::to_string(id)); }
    std::uint32_t ReleaseId(std::uint32_t id) override {
        return Note("ReleaseId " + std::to_string(id));
    }

    std::vector<std::string> calls;

private:
    using Items = std::pair<EqWorkItem*, EqWorkItem*>;

    std::uint32_t Note(std::string call) {
        calls.push_back(std::move(call));
        return 0;
    }
    std::uint32_t Post(const char* call, const wchar_t* name, std::uint32_t* id, EqWorkItem* run,
                       EqWorkItem* finished) {
        *id = ++m_lastId;
        m_items[*id] = {run, finished};
        std::string narrow;
        for (const wchar_t* c = name; *c != 0; ++c) {
            narrow += static_cast<char>(*c);
        }
        return Note(std::string(call) + " " + narrow + " " + std::to_string(*id));
    }
    static void ReleaseItems(Items& items) {
        for (EqWorkItem* item : {items.first, items.second}) {
            if (item != nullptr) {
                item->Release();
            }
        }
    }

    std::uint32_t m_lastId = 0;
    std::map<std::uint32_t, Items> m_items;
};

} // namespace frame_testing
