// The four variable tables: numbers by which the host addresses the equipment's data, each bound to one IO
// point.
#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fa/framework/framework_types.h"

namespace Talwen {

/// One variable. The four record types have the same fields in the same order.
struct VARIABLE_STRU {
    int id = 0;         ///< the variable's number, the table's key
    int point = 0;      ///< IO point index; negative when not bound
    IO_TYPE io_type{};  ///< digital, analog or string
    double max = 0;     ///< limits of the point
    double min = 0;
    int dev = 0;               ///< decimals of an analog point
    int isbuilt = 0;           ///< the ISBUILT column: carried, not interpreted
    std::string sv_name;       ///< IO point name
    std::string unit;          ///< unit of the point
    unsigned char format = 0;  ///< format byte (fa/secs/secs_item.h) of the TYPE column
    std::string type;          ///< the TYPE column as written
    std::string ecs_name;      ///< the VNAME column: parsed by the loaders but not stored
    std::string description;   ///< free text, without its double quotes
};

struct SVID_STRU : VARIABLE_STRU {};
struct ECID_STRU : VARIABLE_STRU {};
struct RVID_STRU : VARIABLE_STRU {};
struct DVID_STRU : VARIABLE_STRU {};

/// What a table holds at one time: it never changes. Records in ascending order of their ids, found at once
/// by an id of the usual range. A record is for reading while another thread may read it too.
template <class Record>
class Variables {
  public:
    using Records = std::map<int, std::shared_ptr<Record>>;

    Variables() = default;
    explicit Variables(const Records& records) : entries_(records.begin(), records.end()) {
        for (const auto& [id, record] : entries_) {
            if (!is_direct(id)) continue;
            const auto place = static_cast<std::size_t>(id);
            if (place >= direct_.size()) direct_.resize(place + 1);
            direct_[place] = record.get();
        }
    }

    /// The record of that id, or null.
    Record* find(int id) const {
        if (is_direct(id)) {
            const auto place = static_cast<std::size_t>(id);
            return place < direct_.size() ? direct_[place] : nullptr;
        }
        const auto found = std::ranges::lower_bound(entries_, id, {}, &Entry::first);
        return found != entries_.end() && found->first == id ? found->second.get() : nullptr;
    }
    /// The same; throws std::out_of_range for an id that is not there.
    Record& at(int id) const {
        Record* record = find(id);
        if (record == nullptr) throw std::out_of_range("invalid map<K, T> key");
        return *record;
    }
    /// All ids, ascending; without a walk over the records, which lie apart in memory.
    std::vector<int> ids() const {
        std::vector<int> all;
        all.reserve(entries_.size());
        for (const Entry& entry : entries_) all.push_back(entry.first);
        return all;
    }
    std::size_t size() const { return entries_.size(); }
    /// Pairs of id and record.
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

  private:
    using Entry = std::pair<int, std::shared_ptr<Record>>;

    static bool is_direct(int id) { return id >= 0 && id < 65536; }

    std::vector<Entry> entries_;
    std::vector<Record*> direct_;  // by id; larger ids are searched for
};

/// A table that is replaced whole when it changes, so that a reader keeps the one it began with. Any thread;
/// the controller is not called under a lock.
template <class Record>
class Variable_Table {
  public:
    using Pointer = std::shared_ptr<const Variables<Record>>;

    /// The table as it is now. Read it once for a message; its records are good for as long as it is kept.
    Pointer read() const {
        const std::lock_guard lock(mutex_);
        return now_;
    }
    /// Calls `change` with a copy of the records by id, and puts that in the table's place. A record that is
    /// in the table must not be changed: put another one there.
    template <class Change>
    void change(Change change) {
        const std::lock_guard one_at_a_time(change_mutex_);
        Pointer next = read();
        typename Variables<Record>::Records records(next->begin(), next->end());
        change(records);
        next = std::make_shared<const Variables<Record>>(records);
        const std::lock_guard lock(mutex_);
        now_.swap(next);
    }
    /// Adds records in their order; one whose id is there already takes that one's place, or is left out.
    void put(std::vector<Record> records, bool last_wins = true) {
        change([&](typename Variables<Record>::Records& all) {
            for (Record& record : records) {
                const auto [place, is_new] = all.try_emplace(record.id);
                if (is_new || last_wins) place->second = std::make_shared<Record>(std::move(record));
            }
        });
    }
    std::size_t size() const { return read()->size(); }
    void clear() {
        change([](auto& records) { records.clear(); });
    }

  private:
    mutable std::mutex mutex_;  // of `now_`
    std::mutex change_mutex_;
    Pointer now_ = std::make_shared<const Variables<Record>>();
};

// One each for the module: members of Module_Data.
extern Variable_Table<SVID_STRU>& SVID_List;
extern Variable_Table<ECID_STRU>& ECID_List;
extern Variable_Table<RVID_STRU>& RVID_List;
extern Variable_Table<DVID_STRU>& DVID_List;

}  // namespace Talwen
