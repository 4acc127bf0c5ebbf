// RPTID.cfg, CEID.cfg, TRID.cfg and TMSG.cfg: one loader and one writer, and a description of each file.
#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "fa/config/config_file.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"

namespace Talwen {

namespace {

/// What sets one file apart from the others. "Place" is where a defect was found.
struct Definition_File {
    const char* name;
    const char* loader;
    const char* open_failed;   ///< path
    const char* too_long;      ///< place
    const char* count;         ///< path, number of records
    const char* unknown_link;  ///< what is linked, place
    const char* link_twice;    ///< the record's number, what is linked, place
    const char* head;
    std::array<const char*, 6> titles;
};

constexpr Definition_File rptid_file{
    "RPTID.cfg",
    "FILE_GET_ALL_RPTID",
    "[%s] 文件打开失败.",
    "参数过长. %s",
    "%s 获取 RPTID 数量: %d",
    "RVID:%s 未识别.%s",
    "RTPID:%d 的LinkVID:%d:%s 链接重复.%s",  // says RTPID, and the point's name too
    "#%-10s %-10s %-50s %-128s\n",
    {"DATAID", "RPTID", "LINKVID", "DESCRIPTION"},
};

constexpr Definition_File ceid_file{
    "CEID.cfg",
    "FILE_GET_ALL_CEID",
    "[%s] 文件打开失败.",
    "参数过长 - %s",
    "%s 获取 CEID 数量:%d",
    "RPTID:%d 未识别.%s",
    "CEID:%d 的RPTID:%d 链接重复!%s",
    "#%-10s %-10s %-50s %-32s %-128s\n",
    {"DATAID", "CEID", "LINKRPTID", "EVENTNAME", "DESCRIPTION"},
};

constexpr Definition_File trid_file{
    "TRID.cfg",
    "FILE_GET_ALL_TRID",
    "[%s] 文件读取失败.",
    "参数过长. %s",
    "%s 获取 TRID 数量: %d",
    "SVID:%d 未识别.%s",
    "TRID:%d 的 LINKSVID:%d 链接重复!.%s",
    "#%-10s %-10s %-10s %-10s %-60s %-128s\n",
    {"TRID", "DSPER", "TOTSMP", "REPGSZ", "LINKSVID", "DESCRIPTION"},
};

constexpr Definition_File tmsg_file{
    "TMSG.cfg", "FILE_GET_ALL_TMSG", "[%s] 文件读取失败.", "参数过长. %s", "%s 获取 TMSG 数量: %d", nullptr,
    nullptr,    "#%-10s %-128s\n",   {"TID", "TMESSAGE"},
};

/// Calls `take_line` for every line; the load fails when one of the calls does, after the whole file.
template <class List, class Take_Line>
bool load(BC_FA& fa, const Definition_File& file, const List& list, Take_Line take_line) {
    Config_Lines lines(Config_Read_Path(file.name));
    if (!lines.opened()) {
        QPrint_Red(fa.Print_Tag, file.open_failed, lines.path());
        return false;
    }
    bool good = true;
    while (lines.next()) {
        if (lines.too_long()) {
            QPrint_Red(fa.Print_Tag, file.too_long, lines.place(file.loader, __LINE__).c_str());
            return false;
        }
        if (!take_line(lines)) good = false;
    }
    if (fa.QIO_Get_GEM_PrnChk() != 0)
        QPrint_Green(fa.Print_Tag, file.count, lines.path(), static_cast<int>(list.size()));
    return good;
}

template <class Take_Item>
void for_each_item(std::string list, Take_Item take_item) {
    std::string item;
    while (!list.empty()) {
        Config_Split(list, ',', {&item, &list});
        Config_Cut(item, 499);
        take_item(item);
    }
}

bool contains(const std::vector<int>& links, int number) {
    return std::find(links.begin(), links.end(), number) != links.end();
}

/// Links the numbers that are known and not linked yet; "-" links nothing, nor does an item with "--" in it.
/// False when a number was refused.
template <class Is_Known>
bool link_numbers(BC_FA& fa, const Definition_File& file, const Config_Lines& lines, int owner,
                  const std::string& list, Is_Known is_known, std::vector<int>& links) {
    bool good = true;
    for_each_item(list, [&](const std::string& item) {
        if (item == "-" || item.find("--") != std::string::npos) return;
        const int number = Config_Int(item);
        if (!is_known(number)) {
            QPrint_Red(fa.Print_Tag, file.unknown_link, number, lines.place(file.loader, __LINE__).c_str());
            good = false;
        } else if (contains(links, number)) {
            QPrint_Red(fa.Print_Tag, file.link_twice, owner, number,
                       lines.place(file.loader, __LINE__).c_str());
            good = false;
        } else {
            links.push_back(number);
        }
    });
    return good;
}

/// RPTID.cfg line by line: a report may go on in further lines.
class Report_Lines {
  public:
    explicit Report_Lines(BC_FA& fa) : fa_(fa) {
        for (const auto& [id, variable] : *variables_)
            by_name_.try_emplace(variable->sv_name, variable.get());
    }

    void take(const Config_Lines& lines) {
        std::string dataid, rptid, links, description;
        Config_Split(lines.text(), Config_White_Space, {&dataid, &rptid, &links, &description});
        const bool continues = std::exchange(goes_on_, links.ends_with(','));
        Config_Clean(description);
        RPTID_STRU report{Config_Int(dataid), Config_Int(rptid), std::move(description), {}};
        if (const auto earlier = RPTID_List.find(report.RPTID)) {
            if (!continues && !goes_on_) {
                QPrint_Red(fa_.Print_Tag, "RPTID:%d 重复定义!.%s", report.RPTID,
                           lines.place(rptid_file.loader, __LINE__).c_str());
                return;
            }
            report = *earlier;  // with its DATAID and description
            RPTID_List.remove(report.RPTID);
        }
        link(lines, links, report);
        RPTID_List.append(std::move(report));
    }

  private:
    const RVID_STRU* find(const std::string& item) const {
        if (QStr_Int_Check(item.c_str()) != 0) return variables_->find(Config_Int(item));
        const auto found = by_name_.find(item);
        return found != by_name_.end() ? found->second : nullptr;
    }

    /// Links the items that are known and new.
    void link(const Config_Lines& lines, const std::string& list, RPTID_STRU& report) const {
        for_each_item(list, [&](const std::string& item) {
            const RVID_STRU* variable = find(item);
            if (variable == nullptr) {
                QPrint_Red(fa_.Print_Tag, rptid_file.unknown_link, item.c_str(),
                           lines.place(rptid_file.loader, __LINE__).c_str());
                return;
            }
            if (contains(report.LINKVID, variable->id))
                QPrint_Red(fa_.Print_Tag, rptid_file.link_twice, report.RPTID, variable->id,
                           variable->sv_name.c_str(), lines.place(rptid_file.loader, __LINE__).c_str());
            else
                report.LINKVID.push_back(variable->id);
        });
    }

    BC_FA& fa_;
    const Variable_Table<RVID_STRU>::Pointer variables_ = RVID_List.read();
    std::unordered_map<std::string_view, const RVID_STRU*> by_name_;  // the smallest RVID of each name
    bool goes_on_ = false;                                            // the last line's list ended with ","
};

// A defect of an event is reported but does not fail the load, unlike in traces and terminal messages.
void take_event(BC_FA& fa, const Config_Lines& lines) {
    std::string dataid, ceid, links;
    CEID_STRU event;
    Config_Split(lines.text(), Config_White_Space,
                 {&dataid, &ceid, &links, &event.event_name, &event.description});
    event.DATAID = Config_Int(dataid);
    event.CEID = Config_Int(ceid);
    event.enable = true;
    Config_Clean(event.description);
    const auto is_report = [](int number) { return RPTID_List.find(number) != nullptr; };
    link_numbers(fa, ceid_file, lines, event.CEID, links, is_report, event.LINKRPTID);
    if (!CEID_List.append(std::move(event)))
        QPrint_Red(fa.Print_Tag, "CEID 重复定义!.%s", lines.place(ceid_file.loader, __LINE__).c_str());
}

bool take_trace(BC_FA& fa, const Config_Lines& lines) {
    std::string trid, totsmp, repgsz, links;
    TRID_STRU trace;
    Config_Split(lines.text(), Config_White_Space,
                 {&trid, &trace.DSPER, &totsmp, &repgsz, &links, &trace.description});
    bool good = true;
    trace.TRID = Config_Int(trid);
    if (trace.DSPER.size() == 6) {
        const auto two_digits = [&](int start) {
            return QStr_Ext_Int_From_Str(trace.DSPER.c_str(), start, 2);
        };
        trace.period = (two_digits(0) * 3600 + two_digits(2) * 60 + two_digits(4)) * 1000;
    } else {
        // K17: the trace is kept and samples at each pass (docs/kept-behaviour.md).
        QPrint_Red(fa.Print_Tag, "DSPER:%s 格式错误, 应遵循格式 HHMMSS 占位6个字节.%s", trace.DSPER.c_str(),
                   lines.place(trid_file.loader, __LINE__).c_str());
        good = false;
    }
    trace.TOTSMP = Config_Int(totsmp);
    trace.REPGSZ = Config_Int(repgsz);
    Config_Clean(trace.description);
    const auto is_variable = [variables = SVID_List.read()](int number) {
        return variables->find(number) != nullptr;
    };
    if (!link_numbers(fa, trid_file, lines, trace.TRID, links, is_variable, trace.LINKSVID)) good = false;
    if (!TRID_List.append(std::move(trace))) {
        QPrint_Red(fa.Print_Tag, "TRID 定义重复!.%s", lines.place(trid_file.loader, __LINE__).c_str());
        good = false;
    }
    return good;
}

bool take_message(BC_FA& fa, const Config_Lines& lines) {
    std::string tid;
    TMSG_STRU message;
    Config_Split(lines.text(), Config_White_Space, {&tid, &message.TMESSAGE});
    message.TID = Config_Int(tid);
    Config_Clean(message.TMESSAGE);
    if (TMSG_List.try_emplace(message.TID, message).second) return true;
    QPrint_Red(fa.Print_Tag, "TID 定义重复! %s", lines.place(tmsg_file.loader, __LINE__).c_str());
    return false;
}

template <class Records, class Write_Record>
bool save(const BC_FA& fa, const Definition_File& file, const Records& records, Write_Record write_record) {
    const std::string dashes = '#' + std::string(113, '-') + '\n';
    const auto& t = file.titles;
    std::string text = dashes;
    Config_Append(text, file.head, t[0], t[1], t[2], t[3], t[4], t[5]);
    text += dashes;
    for (const auto& record : records) write_record(text, record);
    return Config_Save(fa, file.name, "[%s] 文件保存失败!", text);
}

/// The numbers as the loaders read them, "-" for none. Only the reports' loader does not know the "-": a
/// report without links reads back whole, with one red line for it.
std::string link_text(const std::vector<int>& links) {
    std::string text;
    for (const int number : links) text += (text.empty() ? "" : ",") + std::to_string(number);
    return text.empty() ? "-" : text;
}

/// Links that do not fit a line of the loader's go on in further lines; a description is cut to what leaves
/// room for some of them.
void write_report(std::string& text, const std::shared_ptr<RPTID_STRU>& report) {
    constexpr std::size_t longest_line = 1023;
    constexpr std::size_t widest_start = 1 + 11 + 1 + 11 + 1;  // the two numbers
    constexpr std::size_t least_room = 50;
    std::string description = report->description;
    Config_Cut(description, longest_line - widest_start - least_room - 3);  // a blank and the quotes
    description = '"' + description + '"';
    const std::size_t room = std::min<std::size_t>(
        400, longest_line - widest_start - 1 - std::max<std::size_t>(description.size(), 128));
    const auto write_row = [&](const std::string& links) {
        Config_Append(text, " %-10d %-10d %-50s %-128s\n", report->DATAID, report->RPTID, links.c_str(),
                      description.c_str());
    };
    std::string links = link_text(report->LINKVID);
    while (links.size() > room) {
        const std::size_t end = links.rfind(',', room - 1) + 1;
        write_row(links.substr(0, end));
        links.erase(0, end);
    }
    write_row(links);
}

// Events and traces do not go on in further lines, which their loaders would take for a second definition: a
// row of more links than a line holds is written whole, and the loader finds it too long.

void write_event(std::string& text, const std::shared_ptr<CEID_STRU>& event) {
    Config_Append(text, " %-10d %-10d %-50s %-32s \"%-128s\"\n", event->DATAID, event->CEID,
                  link_text(event->LINKRPTID).c_str(), event->event_name.c_str(), event->description.c_str());
}

void write_trace(std::string& text, const std::shared_ptr<TRID_STRU>& trace) {
    Config_Append(text, " %-10d %-10s %-10d %-10d %-60s \"%-128s\"\n", trace->TRID, trace->DSPER.c_str(),
                  trace->TOTSMP, trace->REPGSZ, link_text(trace->LINKSVID).c_str(),
                  trace->description.c_str());
}

void write_message(std::string& text, const std::pair<const int, TMSG_STRU>& message) {
    Config_Append(text, " %-10d \"%-128s\"\n", message.second.TID, message.second.TMESSAGE.c_str());
}

}  // namespace

bool BC_FA::FILE_GET_ALL_RPTID() {
    Report_Lines reports(*this);
    return load(*this, rptid_file, RPTID_List, [&](const Config_Lines& lines) {
        reports.take(lines);
        return true;
    });
}

bool BC_FA::FILE_GET_ALL_CEID() {
    return load(*this, ceid_file, CEID_List, [this](const Config_Lines& lines) {
        take_event(*this, lines);
        return true;
    });
}

bool BC_FA::FILE_GET_ALL_TRID() {
    return load(*this, trid_file, TRID_List,
                [this](const Config_Lines& lines) { return take_trace(*this, lines); });
}

bool BC_FA::FILE_GET_ALL_TMSG() {
    return load(*this, tmsg_file, TMSG_List,
                [this](const Config_Lines& lines) { return take_message(*this, lines); });
}

bool BC_FA::FILE_SAVE_ALL_RPTID() {
    return save(*this, rptid_file, RPTID_List.all(), write_report);
}
bool BC_FA::FILE_SAVE_ALL_CEID() {
    return save(*this, ceid_file, CEID_List.all(), write_event);
}
bool BC_FA::FILE_SAVE_ALL_TRID() {
    return save(*this, trid_file, TRID_List.all(), write_trace);
}
bool BC_FA::FILE_SAVE_ALL_TMSG() {
    return save(*this, tmsg_file, TMSG_List, write_message);
}

}  // namespace Talwen
