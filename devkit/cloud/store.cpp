#include "devkit/cloud/store.h"

#include "devkit/cloud/json_ptr.h"

#include <sqlite3.h>

#include <chrono>

namespace devkit::cloud {

namespace {

const char* const kSchema = R"sql(
CREATE TABLE IF NOT EXISTS accounts(
    user_token TEXT PRIMARY KEY,
    email TEXT NOT NULL,
    firstname TEXT NOT NULL,
    lastname TEXT NOT NULL,
    fingerprint TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS devices(
    device_id TEXT PRIMARY KEY,
    user_token TEXT NOT NULL,
    app_id TEXT NOT NULL,
    display_name TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS timeline(
    seq INTEGER PRIMARY KEY AUTOINCREMENT,
    time_ms INTEGER NOT NULL,
    kind TEXT NOT NULL,
    subject TEXT NOT NULL,
    detail TEXT NOT NULL);
)sql";

// A prepared statement that finalizes itself.
class Statement {
public:
    Statement(sqlite3* db, const char* sql) {
        sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr);
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool Ok() const { return m_statement != nullptr; }
    Statement& Bind(int index, const std::string& text) {
        sqlite3_bind_text(m_statement, index, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT);
        return *this;
    }
    Statement& Bind(int index, std::int64_t value) {
        sqlite3_bind_int64(m_statement, index, value);
        return *this;
    }
    int Step() { return m_statement ? sqlite3_step(m_statement) : SQLITE_ERROR; }
    std::string Text(int column) const {
        const auto* text = sqlite3_column_text(m_statement, column);
        return text ? std::string(
                          reinterpret_cast<const char*>(text),
                          static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)))
                    : std::string();
    }
    std::int64_t Integer(int column) const { return sqlite3_column_int64(m_statement, column); }

private:
    sqlite3_stmt* m_statement = nullptr;
};

std::string Member(const json_t* object, const char* key) {
    return StringMember(object, key).value_or("");
}

} // namespace

Clock SystemClock() {
    return [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
}

Store::Store(sqlite3* db, Clock clock) : m_db(db), m_clock(std::move(clock)) {}

Store::~Store() {
    sqlite3_close(m_db);
}

std::unique_ptr<Store> Store::Open(const std::filesystem::path& path, Clock clock,
                                   std::string& error) {
    sqlite3* db = nullptr;
    const int opened = sqlite3_open_v2(
        path.string().c_str(), &db,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    if (opened != SQLITE_OK) {
        error = "cannot open the store " + path.string() + ": " +
                (db ? sqlite3_errmsg(db) : sqlite3_errstr(opened));
        sqlite3_close(db);
        return nullptr;
    }
    std::unique_ptr<Store> store(new Store(db, std::move(clock)));
    sqlite3_busy_timeout(db, 2000);
    // SQLite reads a file lazily: the schema statement is where a file that is no store, or
    // one that cannot be read or written, shows itself.
    std::string reason;
    if (!store->Execute(kSchema, reason)) {
        error = "cannot use the store " + path.string() + ": " + reason;
        return nullptr;
    }
    return store;
}

bool Store::Execute(const char* sql, std::string& error) const {
    char* message = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) != SQLITE_OK) {
        error = message ? message : sqlite3_errmsg(m_db);
        sqlite3_free(message);
        return false;
    }
    return true;
}

bool Store::PutAccount(const Account& account) {
    std::lock_guard lock(m_mutex);
    Statement statement(m_db, "INSERT OR REPLACE INTO accounts VALUES (?, ?, ?, ?, ?)");
    return statement.Bind(1, account.userToken)
               .Bind(2, account.email)
               .Bind(3, account.firstname)
               .Bind(4, account.lastname)
               .Bind(5, account.fingerprint)
               .Step() == SQLITE_DONE;
}

bool Store::PutDevice(const Device& device) {
    std::lock_guard lock(m_mutex);
    Statement statement(m_db, "INSERT OR REPLACE INTO devices VALUES (?, ?, ?, ?)");
    return statement.Bind(1, device.deviceId)
               .Bind(2, device.userToken)
               .Bind(3, device.appId)
               .Bind(4, device.displayName)
               .Step() == SQLITE_DONE;
}

std::optional<Account> Store::FindAccount(const std::string& userToken) const {
    std::lock_guard lock(m_mutex);
    Statement statement(m_db, "SELECT email, firstname, lastname, fingerprint FROM accounts "
                              "WHERE user_token = ?");
    if (statement.Bind(1, userToken).Step() != SQLITE_ROW) {
        return std::nullopt;
    }
    return Account{userToken, statement.Text(0), statement.Text(1), statement.Text(2),
                   statement.Text(3)};
}

std::optional<Device> Store::FindDevice(const std::string& deviceId) const {
    std::lock_guard lock(m_mutex);
    Statement statement(m_db,
                        "SELECT user_token, app_id, display_name FROM devices WHERE device_id = ?");
    if (statement.Bind(1, deviceId).Step() != SQLITE_ROW) {
        return std::nullopt;
    }
    return Device{deviceId, statement.Text(0), statement.Text(1), statement.Text(2)};
}

bool Store::Seed(const std::string& text, std::string& error) {
    JsonPtr root = ParseJson(text);
    json_t* accounts = root ? json_object_get(root.get(), "accounts") : nullptr;
    if (!json_is_array(accounts)) {
        error = "a seed is a JSON object with an array \"accounts\"";
        return false;
    }
    std::vector<Account> newAccounts;
    std::vector<Device> newDevices;
    std::size_t index = 0;
    json_t* account = nullptr;
    json_array_foreach(accounts, index, account) {
        const std::string where = "accounts[" + std::to_string(index) + "]";
        const auto token = StringMember(account, "user_token");
        if (!token || token->empty()) {
            error = where + " needs a non-empty string \"user_token\"";
            return false;
        }
        newAccounts.push_back({*token, Member(account, "email"), Member(account, "firstname"),
                               Member(account, "lastname"), Member(account, "fingerprint")});
        json_t* devices = json_object_get(account, "devices");
        if (devices && !json_is_array(devices)) {
            error = where + ".devices must be an array";
            return false;
        }
        std::size_t deviceIndex = 0;
        json_t* device = nullptr;
        json_array_foreach(devices, deviceIndex, device) {
            const auto id = StringMember(device, "device_id");
            if (!id || id->empty()) {
                error = where + ".devices[" + std::to_string(deviceIndex) +
                        "] needs a non-empty string \"device_id\"";
                return false;
            }
            newDevices.push_back(
                {*id, *token, Member(device, "app_id"), Member(device, "display_name")});
        }
    }
    for (const auto& each : newAccounts) {
        if (!PutAccount(each)) {
            error = "cannot write the account " + each.userToken;
            return false;
        }
    }
    for (const auto& each : newDevices) {
        if (!PutDevice(each)) {
            error = "cannot write the device " + each.deviceId;
            return false;
        }
    }
    return true;
}

std::int64_t Store::Record(const std::string& kind, const std::string& subject,
                           const std::string& detail) {
    const std::int64_t now = m_clock();
    std::lock_guard lock(m_mutex);
    Statement statement(m_db,
                        "INSERT INTO timeline(time_ms, kind, subject, detail) VALUES (?, ?, ?, ?)");
    if (statement.Bind(1, now).Bind(2, kind).Bind(3, subject).Bind(4, detail).Step() !=
        SQLITE_DONE) {
        return 0;
    }
    return sqlite3_last_insert_rowid(m_db);
}

std::vector<Entry> Store::Entries(std::int64_t afterSeq, std::size_t limit) const {
    std::lock_guard lock(m_mutex);
    Statement statement(m_db, "SELECT seq, time_ms, kind, subject, detail FROM timeline "
                              "WHERE seq > ? ORDER BY seq LIMIT ?");
    statement.Bind(1, afterSeq).Bind(2, static_cast<std::int64_t>(limit));
    std::vector<Entry> entries;
    while (statement.Step() == SQLITE_ROW) {
        entries.push_back({statement.Integer(0), statement.Integer(1), statement.Text(2),
                           statement.Text(3), statement.Text(4)});
    }
    return entries;
}

} // namespace devkit::cloud
