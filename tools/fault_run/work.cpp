#include "tools/fault_run/work.h"

#include <array>

namespace faults {

namespace {

using namespace std::chrono_literals;

constexpr std::array queries{
    "S1F1 W.",
    "S1F3 W <L <U4 1001> <U4 1002> <U4 1003>>.",
    "S1F3 W <L>.",
    "S1F11 W <L <U4 1001>>.",
    "S2F13 W <L>.",
    "S2F29 W <L <U4 1>>.",
    "S2F17 W.",
    "S2F25 W <B 1 2 3 4 5 6 7 8>.",
    "S5F5 W <L>.",
    "S5F7 W.",
    "S6F15 W <U4 54101>.",
    "S6F19 W <U4 62001>.",
};
// Reports and events of their own; the numbered one stays as it is.
constexpr std::array redefinitions{
    "S2F33 W <L <U4 620> <L <L <U4 62001> <L <U4 1002> <U4 1003>>>>>.",
    "S2F35 W <L <U4 620> <L <L <U4 12101> <L <U4 62001>>>>>.",
    "S2F37 W <L <BOOLEAN T> <L <U4 12101>>>.",
    "S2F37 W <L <BOOLEAN F> <L <U4 12101>>>.",
    "S2F35 W <L <U4 620> <L <L <U4 12101> <L>>>>.",
    "S2F33 W <L <U4 620> <L <L <U4 62001> <L>>>>.",
    "S2F23 W <L <U4 9> <A \"000001\"> <U4 100> <U4 1> <L <U4 1002> <U4 1003>>>.",
    "S2F23 W <L <U4 9> <A \"000001\"> <U4 0> <U4 1> <L>>.",
    "S5F3 W <L <B 0x00> <U4 1002>>.",
    "S5F3 W <L <B 0x80> <U4 1002>>.",
};
constexpr std::array commands{
    "S2F41 W <L <A \"START\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"STOP\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"PAUSE\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"RESUME\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"SignalTower\"> <L <L <A \"REDSTATE\"> <U1 1>> <L <A \"GREENSTATE\"> <U1 0>> "
    "<L <A \"YELLOWSTATE\"> <U1 0>> <L <A \"BLUESTATE\"> <U1 0>>>>.",
    "S2F41 W <L <A \"ReadCarrierID\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
};

void change_state(int turn) {
    Equipment::post("EQUIPMENT_STATE " + std::to_string(1 + turn % 11));
    Equipment::post(turn % 2 == 0 ? "SEND_ALARM_POST 1001" : "SEND_ALARM_CLEAR 1001");
}

}  // namespace

Work::Work(Equipment& equipment, Host& host, unsigned seed) {
    repeat([&equipment] { equipment.raise_numbered(); }, 5ms);
    repeat([turn = 0]() mutable { change_state(++turn); }, 20ms);
    ask(host, queries, seed + 1, 5ms);
    ask(host, redefinitions, seed + 2, 10ms);
    ask(host, commands, seed + 3, 50ms);
}

template <class Step>
void Work::repeat(Step step, std::chrono::milliseconds pause) {
    threads_.emplace_back([step, pause](const std::stop_token& stop) mutable {
        while (!stop.stop_requested()) {
            step();
            std::this_thread::sleep_for(pause);
        }
    });
}

template <class List>
void Work::ask(Host& host, const List& list, unsigned seed, std::chrono::milliseconds pause) {
    repeat([&host, &list, random = std::mt19937(seed)]() mutable { host.ask(list[random() % list.size()]); },
           pause);
}

}  // namespace faults
