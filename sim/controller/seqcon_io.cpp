// QSeqCon: IO points.
#include <cstdarg>

#include "fa/framework/qseqcon.h"
#include "sim/controller/calls.h"
#include "sim/machine/state.h"
#include "sim/text.h"

namespace Talwen {

using sim::count;
using sim::Operation;
using sim::record;
using sim::state;
using sim::to_text;

namespace {

/// The point of that index, null when there is no such point.
template <class List>
auto at(List& list, int point) -> decltype(&list[0]) {
    return point >= 0 && static_cast<std::size_t>(point) < list.size()
               ? &list[static_cast<std::size_t>(point)]
               : nullptr;
}

auto* digital(int point) {
    return at(state().points.digital, point);
}
auto* analog(int point) {
    return at(state().points.analog, point);
}
auto* string(int point) {
    return at(state().points.string, point);
}

/// What a read gives: the value of a point, or the bad index's 0 or "".
template <class Point, class Value>
auto read(const Point* point, const Value& value, decltype(value(*point)) otherwise) {
    return point == nullptr ? otherwise : value(*point);
}

template <class Point, class Store>
bool write(Operation& op, std::string arguments, Point* point, const Store& store) {
    if (record(op, std::move(arguments)) == 0 || point == nullptr) return false;
    store(*point);
    return true;
}

std::string arguments(int point, std::string_view value) {
    return to_text(point) + " " + std::string(value);
}

bool found(const std::optional<sim::PointAddress>& address, int* point, IO_TYPE type) {
    if (!address || address->type != type) return false;
    *point = address->index;
    return true;
}

}  // namespace

SIM_READ(QDigital_Read)
int QSeqCon::QDigital_Read(int point) {
    count(Op::QDigital_Read);
    return read(
        digital(point), [](const auto& p) { return p.live.load(std::memory_order_acquire); }, 0);
}

SIM_READ(QDigital_Read_Mem)
int QSeqCon::QDigital_Read_Mem(int point) {
    count(Op::QDigital_Read_Mem);
    return read(
        digital(point), [](const auto& p) { return p.memory.load(std::memory_order_acquire); }, 0);
}

SIM_BOOLEAN(QDigital_Write)
bool QSeqCon::QDigital_Write(int point, int value) {
    return write(Op::QDigital_Write, arguments(point, to_text(value)), digital(point),
                 [value](auto& p) { p.live.store(value, std::memory_order_release); });
}

SIM_ACTION(QDigital_Write_Mem)
void QSeqCon::QDigital_Write_Mem(int point, int value) {
    write(Op::QDigital_Write_Mem, arguments(point, to_text(value)), digital(point),
          [value](auto& p) { p.memory.store(value, std::memory_order_release); });
}

SIM_READ(QDigital_Get_Name)
const char* QSeqCon::QDigital_Get_Name(int point) {
    count(Op::QDigital_Get_Name);
    return read(
        digital(point), [](const auto& p) { return p.name.c_str(); }, "");
}

SIM_READ(QDigital_Get_Unit)
const char* QSeqCon::QDigital_Get_Unit(int point) {
    count(Op::QDigital_Get_Unit);
    return read(
        digital(point), [](const auto& p) { return p.unit.c_str(); }, "");
}

SIM_READ(QDigital_Get_Max)
int QSeqCon::QDigital_Get_Max(int point) {
    count(Op::QDigital_Get_Max);
    return read(
        digital(point), [](const auto& p) { return p.max; }, 0);
}

SIM_READ(QDigital_Get_Min)
int QSeqCon::QDigital_Get_Min(int point) {
    count(Op::QDigital_Get_Min);
    return read(
        digital(point), [](const auto& p) { return p.min; }, 0);
}

SIM_READ(QAnalog_Read)
double QSeqCon::QAnalog_Read(int point) {
    count(Op::QAnalog_Read);
    return read(
        analog(point), [](const auto& p) { return p.live.load(std::memory_order_acquire); }, 0.0);
}

SIM_READ(QAnalog_Read_Mem)
double QSeqCon::QAnalog_Read_Mem(int point) {
    count(Op::QAnalog_Read_Mem);
    return read(
        analog(point), [](const auto& p) { return p.memory.load(std::memory_order_acquire); }, 0.0);
}

SIM_BOOLEAN(QAnalog_Write)
bool QSeqCon::QAnalog_Write(int point, double value) {
    return write(Op::QAnalog_Write, arguments(point, to_text(value)), analog(point),
                 [value](auto& p) { p.live.store(value, std::memory_order_release); });
}

SIM_ACTION(QAnalog_Write_Mem)
void QSeqCon::QAnalog_Write_Mem(int point, double value) {
    write(Op::QAnalog_Write_Mem, arguments(point, to_text(value)), analog(point),
          [value](auto& p) { p.memory.store(value, std::memory_order_release); });
}

SIM_READ(QAnalog_Get_Name)
const char* QSeqCon::QAnalog_Get_Name(int point) {
    count(Op::QAnalog_Get_Name);
    return read(
        analog(point), [](const auto& p) { return p.name.c_str(); }, "");
}

SIM_READ(QAnalog_Get_Unit)
const char* QSeqCon::QAnalog_Get_Unit(int point) {
    count(Op::QAnalog_Get_Unit);
    return read(
        analog(point), [](const auto& p) { return p.unit.c_str(); }, "");
}

SIM_READ(QAnalog_Get_Max)
double QSeqCon::QAnalog_Get_Max(int point) {
    count(Op::QAnalog_Get_Max);
    return read(
        analog(point), [](const auto& p) { return p.max; }, 0.0);
}

SIM_READ(QAnalog_Get_Min)
double QSeqCon::QAnalog_Get_Min(int point) {
    count(Op::QAnalog_Get_Min);
    return read(
        analog(point), [](const auto& p) { return p.min; }, 0.0);
}

SIM_READ(QAnalog_Get_Decimal)
int QSeqCon::QAnalog_Get_Decimal(int point) {
    count(Op::QAnalog_Get_Decimal);
    return read(
        analog(point), [](const auto& p) { return p.decimals; }, 0);
}

SIM_READ(QString_Read)
const char* QSeqCon::QString_Read(int point) {
    count(Op::QString_Read);
    return read(
        string(point), [](const auto& p) { return p.read_live(); }, "");
}

SIM_READ(QString_Read_Mem)
const char* QSeqCon::QString_Read_Mem(int point) {
    count(Op::QString_Read_Mem);
    return read(
        string(point), [](const auto& p) { return p.memory.read(); }, "");
}

SIM_BOOLEAN(QString_Write)
bool QSeqCon::QString_Write(int point, const char* value) {
    return write(Op::QString_Write, arguments(point, sim::view(value)), string(point),
                 [value](auto& p) { p.live.set(sim::view(value)); });
}

SIM_ACTION(QString_Write_Mem)
void QSeqCon::QString_Write_Mem(int point, const char* value) {
    write(Op::QString_Write_Mem, arguments(point, sim::view(value)), string(point),
          [value](auto& p) { p.memory.set(sim::view(value)); });
}

SIM_READ(QString_Get_Name)
const char* QSeqCon::QString_Get_Name(int point) {
    count(Op::QString_Get_Name);
    return read(
        string(point), [](const auto& p) { return p.name.c_str(); }, "");
}

SIM_READ(QSystem_Get_Digital_Count)
int QSeqCon::QSystem_Get_Digital_Count() {
    count(Op::QSystem_Get_Digital_Count);
    return static_cast<int>(state().points.digital.size());
}

SIM_READ(QSystem_Get_Analog_Count)
int QSeqCon::QSystem_Get_Analog_Count() {
    count(Op::QSystem_Get_Analog_Count);
    return static_cast<int>(state().points.analog.size());
}

SIM_READ(QSystem_Get_String_Count)
int QSeqCon::QSystem_Get_String_Count() {
    count(Op::QSystem_Get_String_Count);
    return static_cast<int>(state().points.string.size());
}

SIM_READ(QIO_Find)
bool QSeqCon::QIO_Find(int* point, IO_TYPE* type, const char* name) {
    count(Op::QIO_Find);
    const auto address = state().points.find(sim::view(name));
    if (!address) return false;
    *point = address->index;
    *type = address->type;
    return true;
}

SIM_READ(QIO_Find_Point)
bool QSeqCon::QIO_Find_Point(int* point, IO_TYPE type, const char* name) {
    count(Op::QIO_Find_Point);
    return found(state().points.find(sim::view(name)), point, type);
}

SIM_READ(QIO_Find_PointF)
bool QSeqCon::QIO_Find_PointF(int* point, IO_TYPE type, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string name = sim::vformat(format, arguments);
    va_end(arguments);
    note(Op::QIO_Find_PointF, name);
    return found(state().points.find(name), point, type);
}

SIM_READ(QIO_Find_Type)
bool QSeqCon::QIO_Find_Type(IO_TYPE* type, const char* name) {
    count(Op::QIO_Find_Type);
    const auto address = state().points.find(sim::view(name));
    if (address) *type = address->type;
    return address.has_value();
}

}  // namespace Talwen
