// The recipe database in memory. Any thread; records are copied in and out.
#pragma once

#include <mutex>
#include <vector>

#include "fa/framework/framework_types.h"

namespace sim {

struct Recipes {
    mutable std::mutex mutex;
    std::vector<Talwen::LotRecipe_Item> lot;  // guarded by mutex, like those below
    std::vector<Talwen::ClusterRecipe_Item> cluster;
    std::vector<Talwen::PM_Recipe_Item> pm;
};

}  // namespace sim
