// The emulator's durable store: the accounts and devices that the services answer from, and the
// timeline of everything the emulator received and delivered.
//
// One SQLite file. Every call takes the store's lock, so the server's threads share one
// connection; calls are short. A write that fails (a full disk, a file taken away) is reported
// by its result and never throws.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace devkit::cloud {

struct Account {
    std::string userToken;
    std::string email;
    std::string firstname;
    std::string lastname;
    std::string fingerprint;
};

struct Device {
    std::string deviceId;
    std::string userToken; // the account it belongs to
    std::string appId;
    std::string displayName;
};

// One line of the timeline. `kind` is one of "request", "ping", "rejected", "register",
// "unregister", "push", "delivery", "event"; `detail` is a JSON object's text.
struct Entry {
    std::int64_t seq = 0;
    std::int64_t timeMs = 0; // milliseconds since the Unix epoch
    std::string kind;
    std::string subject;
    std::string detail;
};

// Milliseconds since the Unix epoch; tests hand in a fixed one.
using Clock = std::function<std::int64_t()>;
Clock SystemClock();

class Store {
public:
    // Opens (creating when missing) the store at `path`; ":memory:" keeps it in memory. Null with
    // a readable `error` when the file cannot be opened or is no store.
    static std::unique_ptr<Store> Open(const std::filesystem::path& path, Clock clock,
                                       std::string& error);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // Adds or replaces by user token / device id.
    bool PutAccount(const Account& account);
    bool PutDevice(const Device& device);
    std::optional<Account> FindAccount(const std::string& userToken) const;
    std::optional<Device> FindDevice(const std::string& deviceId) const;

    // Loads accounts and their devices from a seed document (see README.md). False with a
    // readable `error` when the text is not a seed; nothing is stored then.
    bool Seed(const std::string& text, std::string& error);

    // Appends to the timeline at the clock's time; the entry's seq, or 0 when it could not be
    // written.
    std::int64_t Record(const std::string& kind, const std::string& subject,
                        const std::string& detail);
    // Entries after `afterSeq`, oldest first, at most `limit`.
    std::vector<Entry> Entries(std::int64_t afterSeq, std::size_t limit) const;

private:
    Store(sqlite3* db, Clock clock);
    bool Execute(const char* sql, std::string& error) const;

    sqlite3* m_db;
    Clock m_clock;
    mutable std::mutex m_mutex;
};

} // namespace devkit::cloud
