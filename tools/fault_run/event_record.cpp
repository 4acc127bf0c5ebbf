#include "tools/fault_run/event_record.h"

namespace faults {

namespace {

std::string event(int number) {
    return "event " + std::to_string(number);
}

/// Takes the events in the order in which they came.
class Comparer {
  public:
    Comparer(const std::set<int>& refused, Comparison& result) : refused_(refused), result_(result) {}

    void take(const Received& next) {
        if (!seen_.insert(next.number).second) {
            ++result_.twice;
            result_.findings.push_back(event(next.number) + " came twice");
        } else if (next.number < last_) {
            ++result_.reordered;
            result_.findings.push_back(event(next.number) + " came after " + event(last_));
        } else {
            lose_until(next);
            last_ = next.number;
            connection_ = next.connection;
        }
    }

    int last() const { return last_; }
    std::size_t received() const { return seen_.size(); }

  private:
    void lose_until(const Received& next) {
        int missing = 0;
        for (int number = last_ + 1; number < next.number; ++number) {
            if (refused_.contains(number)) continue;
            ++missing;
            result_.lost.push_back(number);
        }
        const int cuts = next.connection - connection_;
        if (missing > cuts)
            result_.findings.push_back(std::to_string(missing) + " events lost before " + event(next.number) +
                                       ", with " + std::to_string(cuts) + " cuts between");
    }

    const std::set<int>& refused_;
    Comparison& result_;
    std::set<int> seen_;
    int last_ = first_number - 1;
    int connection_ = 1;
};

}  // namespace

std::string raise_command(int number) {
    return "ALARM_REPORT 1|" + std::to_string(number) + "|0|numbered";
}

std::optional<int> number_in(const sml::Message& message) {
    if (message.stream != 6 || message.function != 11 || !message.body) return std::nullopt;
    const std::vector<hsms::Item>& body = message.body->children;
    if (body.size() != 3 || body[1].element_count() != 1 || body[1].integer(0) != numbered_ceid)
        return std::nullopt;
    for (const hsms::Item& report : body[2].children)
        if (report.children.size() == 2)
            for (const hsms::Item& value : report.children[1].children)
                if (value.format == hsms::Format::u4 && value.element_count() == 1 &&
                    value.integer(0) >= first_number)
                    return static_cast<int>(value.integer(0));
    return std::nullopt;
}

Comparison compare(const std::vector<Received>& received, int last, const std::set<int>& refused) {
    Comparison result;
    Comparer comparer(refused, result);
    for (const Received& next : received) comparer.take(next);
    if (comparer.last() != last)
        result.findings.push_back("the last is " + event(last) + ", but " + event(comparer.last()) +
                                  " came last");
    const auto raised = last - first_number + 1 - static_cast<int>(refused.size());
    result.summary = "numbered events raised " + std::to_string(raised) + ", received " +
                     std::to_string(comparer.received()) + ", lost in flight " +
                     std::to_string(result.lost.size()) + ", twice " + std::to_string(result.twice) +
                     ", reordered " + std::to_string(result.reordered);
    return result;
}

}  // namespace faults
