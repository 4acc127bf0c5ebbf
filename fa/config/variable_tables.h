// The four variable tables: numbers by which the host addresses the equipment's data, each bound to one IO
// point.
#pragma once

#include <cstddef>
#include <map>
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

/// Records in ascending order of their ids, found at once by an id of the usual range.
template <class Record>
class Variable_Table {
  public:
    Variable_Table() = default;
    Variable_Table(const Variable_Table&) = delete;
    Variable_Table& operator=(const Variable_Table&) = delete;

    /// The record of that id, or null; good until the table is cleared.
    Record* find(int id) const {
        if (is_direct(id)) {
            const auto place = static_cast<std::size_t>(id);
            return place < direct_.size() ? direct_[place] : nullptr;
        }
        const auto found = records_.find(id);
        return found != records_.end() ? const_cast<Record*>(&found->second) : nullptr;
    }
    /// The same; throws std::out_of_range for an id that is not there.
    Record& at(int id) const {
        Record* record = find(id);
        if (record == nullptr) throw std::out_of_range("invalid map<K, T> key");
        return *record;
    }
    /// The record of that id, made when it is not there.
    Record& operator[](int id) { return add(id).first; }
    void insert_or_assign(int id, const Record& record) { add(id).first = record; }
    /// Keeps a record that is there.
    void try_emplace(int id, const Record& record) {
        const auto [place, is_new] = add(id);
        if (is_new) place = record;
    }
    void clear() {
        direct_.clear();
        records_.clear();
    }
    /// All ids, ascending; without a walk over the records, which lie apart in memory.
    std::vector<int> ids() const {
        std::vector<int> all;
        all.reserve(records_.size());
        for (auto entry = records_.begin(); entry != records_.end() && entry->first < 0; ++entry)
            all.push_back(entry->first);
        for (std::size_t id = 0; id < direct_.size(); ++id)
            if (direct_[id] != nullptr) all.push_back(static_cast<int>(id));
        for (auto entry = records_.lower_bound(direct_ids); entry != records_.end(); ++entry)
            all.push_back(entry->first);
        return all;
    }
    std::size_t size() const { return records_.size(); }
    bool empty() const { return records_.empty(); }
    /// Pairs of id and record.
    auto begin() const { return records_.begin(); }
    auto end() const { return records_.end(); }

  private:
    static constexpr int direct_ids = 65536;

    static bool is_direct(int id) { return id >= 0 && id < direct_ids; }

    std::pair<Record&, bool> add(int id) {
        const auto [place, is_new] = records_.try_emplace(id);
        if (is_new && is_direct(id)) {
            const auto element = static_cast<std::size_t>(id);
            if (element >= direct_.size()) direct_.resize(element + 1);
            direct_[element] = &place->second;
        }
        return {place->second, is_new};
    }

    std::map<int, Record> records_;
    std::vector<Record*> direct_;  // by id; what lies beyond is found in the map
};

// One each for the module. Filled before the threads start, only read while the link runs.
extern Variable_Table<SVID_STRU>& SVID_List;
extern Variable_Table<ECID_STRU>& ECID_List;
extern Variable_Table<RVID_STRU>& RVID_List;
extern Variable_Table<DVID_STRU>& DVID_List;

}  // namespace Talwen
