// define, names and events: what the equipment reports (S2F33, S2F35, S2F37).
#include <array>
#include <fmt/format.h>

#include "apps/host/commands/commands.h"
#include "apps/host/commands/definitions.h"
#include "apps/host/commands/values.h"

namespace host {
namespace {

using hsms::Item;

constexpr std::array<std::string_view, 7> drack{"accepted",
                                                "no space, or too many values in a report",
                                                "wrong format",
                                                "a report is defined already",
                                                "no such variable",
                                                "RPTID out of range",
                                                "DATAID or variable out of range"};
constexpr std::array<std::string_view, 6> lrack{"accepted",      "no space, or too many reports of an event",
                                                "wrong format",  "an event is linked already",
                                                "no such event", "no such report"};
constexpr std::array<std::string_view, 3> erack{"accepted", "no such event", "CEED is no Boolean"};
constexpr Codes DRACK{"DRACK", drack};
constexpr Codes LRACK{"LRACK", lrack};
constexpr Codes ERACK{"ERACK", erack};
constexpr std::uint64_t defined_already = 3;  // DRACK and LRACK
constexpr std::uint64_t no_such_event = 4;    // LRACK

Item pair(std::uint32_t id, const std::vector<std::uint32_t>& links) {
    return Item::list({number_item(id), number_list(links)});
}

void switch_events(Desk& desk, bool on, const std::vector<std::uint32_t>& ceids) {
    const std::string which = ceids.empty() ? "all events" : fmt::format("{} event(s)", ceids.size());
    desk.ask_code(2, 37, Item::list({Item::boolean(on), number_list(ceids)}),
                  fmt::format("S2F37 {} {}", on ? "enable" : "disable", which), ERACK);
}

void switch_events(Desk& desk, bool on, const Definitions::Switch& which) {
    if (which.all) switch_events(desk, on, std::vector<std::uint32_t>{});
    if (!which.ceids.empty()) switch_events(desk, on, which.ceids);
}

/// For the line that says where a define ended: what is gone and what has come.
struct Progress {
    std::string removed, defined;

    static void add(std::string& to, const std::string& what) { to += (to.empty() ? "" : ", ") + what; }
    std::string text() const {
        const auto or_nothing = [](const std::string& list) { return list.empty() ? "nothing" : list; };
        return "; removed: " + or_nothing(removed) + "; defined: " + or_nothing(defined);
    }
};

struct Definer {
    Desk& desk;
    const Definitions& wanted;
    Progress progress = {};

    Item body(Item entries) const { return Item::list({number_item(wanted.dataid), std::move(entries)}); }

    Item reports(bool with_values) const {
        Item list = Item::list();
        for (const Definitions::Report& report : wanted.reports)
            list.children.push_back(
                pair(report.rptid, with_values ? report.rvids : std::vector<std::uint32_t>{}));
        return list;
    }

    Item links() const {
        Item list = Item::list();
        for (const Definitions::Event& event : wanted.events)
            list.children.push_back(pair(event.ceid, event.rptids));
        return list;
    }

    Item one(const Definitions::Report& report, bool with_values) const {
        return body(
            Item::list({pair(report.rptid, with_values ? report.rvids : std::vector<std::uint32_t>{})}));
    }

    // Each report is tried alone before anything is switched off: if one is refused, nothing has changed. One
    // that is defined already is replaced later.
    void try_reports() const {
        std::vector<const Definitions::Report*> added;
        try {
            for (const Definitions::Report& report : wanted.reports)
                if (desk.check_code(2, 33, one(report, true), fmt::format("S2F33 report {}", report.rptid),
                                    DRACK, defined_already) == 0)
                    added.push_back(&report);
        } catch (const Refusal& refusal) {
            for (const Definitions::Report* report : added)
                desk.check_code(2, 33, one(*report, false), refusal.what(), DRACK);
            throw Refusal(std::string(refusal.what()) + "; nothing is changed");
        }
    }

    void define_reports() {
        if (wanted.reports.empty()) return;
        const std::string what = fmt::format("S2F33 define {} report(s)", wanted.reports.size());
        if (desk.ask_code(2, 33, body(reports(true)), what, DRACK, defined_already) != 0) {
            // Defined under another DATAID: on some equipments the empty list does not delete those.
            desk.ask_code(2, 33, body(reports(false)), "S2F33 delete the same by number", DRACK);
            Progress::add(progress.removed, "reports with the file's numbers");
            desk.ask_code(2, 33, body(reports(true)), what, DRACK);
        }
        Progress::add(progress.defined, fmt::format("{} report(s)", wanted.reports.size()));
    }

    void unlink_events() {
        for (const Definitions::Event& event : wanted.events) {
            desk.ask_code(2, 35, body(Item::list({pair(event.ceid, {})})),
                          fmt::format("S2F35 unlink event {}", event.ceid), LRACK, no_such_event);
            Progress::add(progress.removed, fmt::format("links of event {}", event.ceid));
        }
    }

    void link_events() {
        if (wanted.events.empty()) return;
        const std::string what = fmt::format("S2F35 link {} event(s)", wanted.events.size());
        if (desk.ask_code(2, 35, body(links()), what, LRACK, defined_already) != 0) {
            unlink_events();
            desk.ask_code(2, 35, body(links()), what, LRACK);
        }
        Progress::add(progress.defined, fmt::format("links of {} event(s)", wanted.events.size()));
    }

    void switch_as_wanted() const {
        switch_events(desk, true, wanted.enable);
        switch_events(desk, false, wanted.disable);
    }

    // Replaces all that was defined under the DATAID; all events are off before and after.
    void replace_definitions() {
        desk.ask_code(2, 33, body(Item::list()), "S2F33 delete all reports", DRACK);
        Progress::add(progress.removed, fmt::format("all reports of DATAID {}", wanted.dataid));
        desk.ask_code(2, 35, body(Item::list()), "S2F35 delete all links", LRACK);
        Progress::add(progress.removed, "all its links");
        desk.monitor().name_reports(wanted);
        define_reports();
        link_events();
    }

    // The equipment cannot be asked which events were on before; usually all are on at its start. Without its
    // link an event may be gone altogether.
    std::string enable_again() const {
        try {
            switch_events(desk, true, std::vector<std::uint32_t>{});
            return "; on: all events that the equipment still has, those that were off before too";
        } catch (const Refusal&) {
            return "; off: all events but those enabled above";
        }
    }

    void run() {
        if (wanted.reports.empty() && wanted.events.empty()) return switch_as_wanted();
        try_reports();
        switch_events(desk, false, std::vector<std::uint32_t>{});
        try {
            replace_definitions();
            switch_as_wanted();
        } catch (const Refusal& refusal) {
            throw Refusal(refusal.what() + progress.text() + enable_again());
        }
    }
};

}  // namespace

Job prepare_define(Words& words) {
    const std::string file = unquoted(words.take("the name of a definition file"));
    return [wanted = read_definitions(file)](Desk& desk) { Definer{desk, wanted}.run(); };
}

Job prepare_names(Words& words) {
    const std::string file = unquoted(words.take("the name of a definition file"));
    return [names = read_definitions(file)](Desk& desk) { desk.monitor().name_reports(names); };
}

Job prepare_events(Words& words) {
    const bool on = words.take_if("on");
    if (!on && words.take("on or off") != "off") words.refuse("on or off");
    Definitions::Switch which;
    if (words.take_if("all"))
        which.all = true;
    else
        which.ceids = words.numbers("a CEID or all");
    return [on, which](Desk& desk) { switch_events(desk, on, which); };
}

}  // namespace host
