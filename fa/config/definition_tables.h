// Reports, collection events and traces as the host defines them, and the operator's terminal messages.
//
// The host redefines them on the driver's callback thread while events are raised and traces run on other
// threads. What a lookup hands out is a shared record that its reader keeps alive; a change of links puts a
// new record in the old one's place. So no lock is held while a report is built, and a controller operation
// that calls back into the module finds none.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Talwen {

/// A field that changes in its place while others read it: an atomic value that copies with its record.
template <class Value>
class Shared_Value {
  public:
    Shared_Value(Value value = {}) : value_(value) {}
    Shared_Value(const Shared_Value& other) : value_(other.value_.load()) {}
    Shared_Value& operator=(const Shared_Value& other) {
        value_ = other.value_.load();
        return *this;
    }
    operator Value() const { return value_; }

  private:
    std::atomic<Value> value_;
};

/// A report: the variables it carries.
struct RPTID_STRU {
    int DATAID = 0;  ///< of the message that defined it, or the file's
    int RPTID = 0;
    std::string description;   ///< without double quotes
    std::vector<int> LINKVID;  ///< RVIDs in report order, each once when from the file
};

/// A collection event: the reports it sends.
struct CEID_STRU {
    int DATAID = 0;  ///< of the message that defined it, or the file's
    int CEID = 0;
    Shared_Value<bool> enable;  ///< its report is sent; true from the file, false from the host
    std::string event_name;
    std::string description;     ///< without double quotes
    std::vector<int> LINKRPTID;  ///< RPTIDs in order, each once when from the file
};

/// A trace: status variables sampled at a fixed period.
struct TRID_STRU {
    int TRID = 0;
    std::string DSPER;               ///< period as text, HHMMSS
    int period = 0;                  ///< milliseconds
    int TOTSMP = 0;                  ///< samples to take in all
    Shared_Value<int> sample_count;  ///< samples taken so far
    Shared_Value<int> elapsed;       ///< milliseconds towards the next sample
    int REPGSZ = 0;                  ///< samples in one report: carried, every sample is sent by itself
    std::string description;         ///< without double quotes
    std::vector<int> LINKSVID;       ///< SVIDs in order, each once when from the file
};

/// A text for the operator.
struct TMSG_STRU {
    int TID = 0;
    std::string TMESSAGE;
};

/// Records in insertion order, each number once. Every operation holds the list's mutex for its whole run and
/// calls nothing outside under it. Any thread.
template <class Record>
class Definition_List {
  public:
    using Pointer = std::shared_ptr<Record>;

    explicit Definition_List(int Record::*number) : number_(number) {}

    /// The record with that number, or null. It stays good for as long as the pointer is kept, also when the
    /// list has changed since.
    Pointer find(int number) const {
        const std::lock_guard lock(mutex_);
        const auto found = places_.find(number);
        return found != places_.end() ? records_[found->second] : nullptr;
    }

    /// False, and no change, when the number is there already.
    bool append(Record record) {
        auto pointer = std::make_shared<Record>(std::move(record));
        const std::lock_guard lock(mutex_);
        return put_last(std::move(pointer));
    }

    /// Takes the place of an earlier record of its number, at the end of the list.
    void append_or_replace(Record record) {
        auto pointer = std::make_shared<Record>(std::move(record));
        const std::lock_guard lock(mutex_);
        drop((*pointer).*number_);
        put_last(std::move(pointer));
    }

    template <class Condition>
    void remove_if(Condition condition) {
        const std::lock_guard lock(mutex_);
        for (std::size_t place = 0; place < records_.size(); ++place)
            if (records_[place] != nullptr && condition(std::as_const(*records_[place]))) take_out(place);
        close_holes();
    }

    void remove(int number) {
        const std::lock_guard lock(mutex_);
        drop(number);
    }

    /// Puts a changed copy, of the same number, in the place of each record that fulfils the condition.
    template <class Condition, class Change>
    void replace_if(Condition condition, Change change) {
        const std::lock_guard lock(mutex_);
        for (Pointer& place : records_) {
            if (place == nullptr || !condition(std::as_const(*place))) continue;
            auto changed = std::make_shared<Record>(*place);
            change(*changed);
            place = std::move(changed);
            ++version_;
        }
    }

    /// Changes a field that may change in its place (Shared_Value) in every record.
    template <class Change>
    void for_each(Change change) {
        const std::lock_guard lock(mutex_);
        for (const Pointer& record : records_)
            if (record != nullptr) change(*record);
    }

    /// The same in each record of these numbers. False, and no change, when one of them is unknown.
    template <class Change>
    bool change_all_of(const std::vector<int>& numbers, Change change) {
        const std::lock_guard lock(mutex_);
        for (const int number : numbers)
            if (places_.count(number) == 0) return false;
        for (const int number : numbers) change(*records_[places_.at(number)]);
        return true;
    }

    /// Changes with every record that comes, goes or is replaced. Read it before all().
    std::uint64_t version() const { return version_; }

    /// All records as they are now, in order.
    std::vector<Pointer> all() const {
        const std::lock_guard lock(mutex_);
        std::vector<Pointer> all;
        all.reserve(places_.size());
        for (const Pointer& record : records_)
            if (record != nullptr) all.push_back(record);
        return all;
    }

    std::size_t size() const {
        const std::lock_guard lock(mutex_);
        return places_.size();
    }

    void clear() {
        const std::lock_guard lock(mutex_);
        records_.clear();
        places_.clear();
        ++version_;
    }

  private:
    bool put_last(Pointer record) {
        if (!places_.try_emplace((*record).*number_, records_.size()).second) return false;
        records_.push_back(std::move(record));
        ++version_;
        return true;
    }

    void take_out(std::size_t place) {
        places_.erase((*records_[place]).*number_);
        records_[place] = nullptr;
        ++version_;
    }

    void drop(int number) {
        const auto found = places_.find(number);
        if (found == places_.end()) return;
        take_out(found->second);
        close_holes();
    }

    /// Once half of the places are holes, so that taking out record after record stays linear.
    void close_holes() {
        if (records_.size() < 2 * places_.size() + 16) return;
        std::erase(records_, nullptr);
        for (std::size_t place = 0; place < records_.size(); ++place)
            places_[(*records_[place]).*number_] = place;
    }

    int Record::*number_;
    mutable std::mutex mutex_;
    std::atomic<std::uint64_t> version_{0};
    std::vector<Pointer> records_;  // in their order; null where one was taken out
    std::unordered_map<int, std::size_t> places_;
};

// One each for the module: members of Module_Data. The module's own readers use find() and all() of these;
// the operations of BC_FA are for the controller and for changes.
extern Definition_List<RPTID_STRU>& RPTID_List;
extern Definition_List<CEID_STRU>& CEID_List;
extern Definition_List<TRID_STRU>& TRID_List;

/// Takes these reports out of the links of every event.
void Unlink_Reports(const std::unordered_set<int>& rptids);

/// Ascending by TID. Filled before the threads start, only read afterwards.
extern std::map<int, TMSG_STRU>& TMSG_List;

}  // namespace Talwen
