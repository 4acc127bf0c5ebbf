#include "fa/secs/spool_table.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "fa/secs/secs_data.h"

namespace Talwen {

namespace {

struct Pair {
    int stream;
    int function;
};

constexpr Pair candidates[] = {
    {1, 1},  {1, 13}, {2, 25},                                      //
    {5, 1},                                                         //
    {6, 1},  {6, 3},  {6, 9},  {6, 11}, {6, 13},                    //
    {7, 1},  {7, 3},  {7, 5},  {7, 27}, {7, 29},                    //
    {9, 1},  {9, 3},  {9, 5},  {9, 7},  {9, 9},  {9, 11}, {9, 13},  //
    {10, 1},                                                        //
    {16, 7}, {16, 9},                                               //
};

}  // namespace

bool QFA_Is_Spool_Candidate(int stream, int function) {
    return std::any_of(std::begin(candidates), std::end(candidates),
                       [=](Pair pair) { return pair.stream == stream && pair.function == function; });
}

bool QFA_Get_Spool_Enable(int stream, int function) {
    return QFA_Is_Spool_Candidate(stream, function) && Secs.Spool_Table[stream][function];
}

bool QFA_Set_Spool_Enable(int stream, int function, bool enable) {
    if (!QFA_Is_Spool_Candidate(stream, function)) return false;
    Secs.Spool_Table[stream][function] = enable;
    return true;
}

void QFA_Clear_Spool_Table() {
    for (auto& row : Secs.Spool_Table)
        for (auto& flag : row) flag = false;
}

}  // namespace Talwen
