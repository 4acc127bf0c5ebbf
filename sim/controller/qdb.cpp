#include "fa/framework/qdb.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>

#include "sim/controller/calls.h"
#include "sim/machine/state.h"
#include "sim/text.h"

namespace Talwen {

using sim::count;
using sim::Operation;
using sim::record;
using sim::view;

namespace {

sim::Recipes& recipes() {
    return sim::state().recipes;
}

// What makes one recipe of a kind another than the next.
bool same(const LotRecipe_Item& a, const LotRecipe_Item& b) {
    return a.name == b.name;
}
bool same(const ClusterRecipe_Item& a, const ClusterRecipe_Item& b) {
    return a.name == b.name;
}
bool same(const PM_Recipe_Item& a, const PM_Recipe_Item& b) {
    return a.name == b.name && a.module == b.module;
}

LotRecipe_Item lot_key(const char* name) {
    return {std::string(view(name)), {}};
}
ClusterRecipe_Item cluster_key(const char* name) {
    return {std::string(view(name)), {}, {}};
}
PM_Recipe_Item pm_key(const char* module, const char* name) {
    return {std::string(view(module)), std::string(view(name)), {}, {}};
}

std::string list_text(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
    return "[" + list + "]";
}

// What the journal says of a recipe: its key, and the whole of it.
std::string key_text(const LotRecipe_Item& item) {
    return item.name;
}
std::string key_text(const ClusterRecipe_Item& item) {
    return item.name;
}
std::string key_text(const PM_Recipe_Item& item) {
    return item.module + " " + item.name;
}
std::string text_of(const LotRecipe_Item& item) {
    return key_text(item) + " " + list_text(item.cluster_recipes);
}
std::string text_of(const ClusterRecipe_Item& item) {
    return key_text(item) + " " + list_text(item.modules) + " " + list_text(item.pm_recipes);
}
std::string text_of(const PM_Recipe_Item& item) {
    return key_text(item) + " " + item.comment + " " + list_text(item.steps);
}

template <class Item>
auto find(std::vector<Item>& list, const Item& key) {
    return std::ranges::find_if(list, [&](const Item& item) { return same(item, key); });
}

template <class Item>
bool has(std::vector<Item>& list, const Item& key) {
    const std::lock_guard lock(recipes().mutex);
    return find(list, key) != list.end();
}

template <class Item>
bool get(std::vector<Item>& list, Item& item) {
    const std::lock_guard lock(recipes().mutex);
    const auto found = find(list, item);
    if (found == list.end()) return false;
    item = *found;
    return true;
}

template <class Item>
bool get_all(const std::vector<Item>& list, std::vector<Item>& items) {
    const std::lock_guard lock(recipes().mutex);
    items = list;
    return true;
}

template <class Item>
bool add(Operation& op, std::vector<Item>& list, const Item& item) {
    if (record(op, text_of(item)) == 0) return false;
    const std::lock_guard lock(recipes().mutex);
    if (find(list, item) != list.end()) return false;
    list.push_back(item);
    return true;
}

template <class Item>
bool save(Operation& op, std::vector<Item>& list, const Item& item) {
    if (record(op, text_of(item)) == 0) return false;
    const std::lock_guard lock(recipes().mutex);
    const auto found = find(list, item);
    if (found == list.end()) return false;
    *found = item;
    return true;
}

template <class Item>
bool remove(Operation& op, std::vector<Item>& list, const Item& key) {
    if (record(op, key_text(key)) == 0) return false;
    const std::lock_guard lock(recipes().mutex);
    return std::erase_if(list, [&](const Item& item) { return same(item, key); }) > 0;
}

template <class Item>
bool clear(Operation& op, std::vector<Item>& list) {
    if (record(op, {}) == 0) return false;
    const std::lock_guard lock(recipes().mutex);
    list.clear();
    return true;
}

/// Copies texts into an array of rows of `Width` bytes; returns how many there was room for.
template <std::size_t Width>
int copy_rows(const std::vector<std::string>& texts, char (*rows)[Width], int room) {
    const int copied = std::min(static_cast<int>(texts.size()), std::max(room, 0));
    for (int i = 0; i < copied; ++i) {
        sim::copy_cut(rows[i], texts[static_cast<std::size_t>(i)], static_cast<int>(Width));
    }
    return copied;
}

template <std::size_t Width>
void clear_rows(char (*rows)[Width], int from, int to) {
    for (int i = from; i < to; ++i) rows[i][0] = '\0';
}

}  // namespace

SIM_READ(QDB_Find_LotRecipe)
bool QDB_Find_LotRecipe(const char* name) {
    count(Op::QDB_Find_LotRecipe);
    return has(recipes().lot, lot_key(name));
}

SIM_READ(QDB_Find_ClusterRecipe)
bool QDB_Find_ClusterRecipe(const char* name) {
    count(Op::QDB_Find_ClusterRecipe);
    return has(recipes().cluster, cluster_key(name));
}

// This database has one table of each kind; the table's name does not matter.
bool QDB_Find_ClusterRecipe(const char*, const char* name) {
    return QDB_Find_ClusterRecipe(name);
}

SIM_READ(QDB_Find_PM_Recipe)
bool QDB_Find_PM_Recipe(const char* module, const char* name) {
    count(Op::QDB_Find_PM_Recipe);
    return has(recipes().pm, pm_key(module, name));
}

bool QDB_Find_PM_Recipe(const char*, const char* module, const char* name) {
    return QDB_Find_PM_Recipe(module, name);
}

SIM_READ(QDB_Get_LotRecipe)
bool QDB_Get_LotRecipe(LotRecipe_Item& item) {
    count(Op::QDB_Get_LotRecipe);
    return get(recipes().lot, item);
}

SIM_READ(QDB_Get_ClusterRecipe)
bool QDB_Get_ClusterRecipe(ClusterRecipe_Item& item) {
    count(Op::QDB_Get_ClusterRecipe);
    return get(recipes().cluster, item);
}

SIM_READ(QDB_Get_PM_Recipe)
bool QDB_Get_PM_Recipe(PM_Recipe_Item& item) {
    count(Op::QDB_Get_PM_Recipe);
    return get(recipes().pm, item);
}

bool QDB_Get_LotRecipe(const char* name, char cluster_recipes[][64], int rows, int* row_count) {
    LotRecipe_Item item = lot_key(name);
    if (!QDB_Get_LotRecipe(item)) return false;
    *row_count = copy_rows(item.cluster_recipes, cluster_recipes, rows);
    return true;
}

bool QDB_Get_ClusterRecipe(const char* name, char modules[20][64], char pm_recipes[20][64]) {
    ClusterRecipe_Item item = cluster_key(name);
    if (!QDB_Get_ClusterRecipe(item)) return false;
    clear_rows(modules, copy_rows(item.modules, modules, 20), 20);
    clear_rows(pm_recipes, copy_rows(item.pm_recipes, pm_recipes, 20), 20);
    return true;
}

bool QDB_Get_PM_Recipe(const char* module, const char* name, char module_out[32], char name_out[32],
                       char comment_out[32], char steps[200][32], int* step_count, int* column_count,
                       int* row_count) {
    PM_Recipe_Item item = pm_key(module, name);
    if (!QDB_Get_PM_Recipe(item)) return false;
    sim::copy_cut(module_out, item.module, 32);
    sim::copy_cut(name_out, item.name, 32);
    sim::copy_cut(comment_out, item.comment, 32);
    *step_count = *row_count = copy_rows(item.steps, steps, 200);
    *column_count = 1;  // a step is one text
    return true;
}

SIM_READ(QDB_Get_LotRecipe_List)
bool QDB_Get_LotRecipe_List(std::vector<LotRecipe_Item>& items) {
    count(Op::QDB_Get_LotRecipe_List);
    return get_all(recipes().lot, items);
}

SIM_READ(QDB_Get_ClusterRecipe_List)
bool QDB_Get_ClusterRecipe_List(std::vector<ClusterRecipe_Item>& items) {
    count(Op::QDB_Get_ClusterRecipe_List);
    return get_all(recipes().cluster, items);
}

SIM_READ(QDB_Get_PM_Recipe_List)
bool QDB_Get_PM_Recipe_List(const char* module, std::vector<PM_Recipe_Item>& items) {
    count(Op::QDB_Get_PM_Recipe_List);
    get_all(recipes().pm, items);
    std::erase_if(items, [&](const PM_Recipe_Item& item) { return item.module != view(module); });
    return true;
}

SIM_BOOLEAN(QDB_New_LotRecipe)
bool QDB_New_LotRecipe(const LotRecipe_Item& item) {
    return add(Op::QDB_New_LotRecipe, recipes().lot, item);
}
SIM_BOOLEAN(QDB_New_ClusterRecipe)
bool QDB_New_ClusterRecipe(const ClusterRecipe_Item& item) {
    return add(Op::QDB_New_ClusterRecipe, recipes().cluster, item);
}
SIM_BOOLEAN(QDB_New_PM_Recipe)
bool QDB_New_PM_Recipe(const PM_Recipe_Item& item) {
    return add(Op::QDB_New_PM_Recipe, recipes().pm, item);
}

SIM_BOOLEAN(QDB_Save_LotRecipe)
bool QDB_Save_LotRecipe(const LotRecipe_Item& item) {
    return save(Op::QDB_Save_LotRecipe, recipes().lot, item);
}
SIM_BOOLEAN(QDB_Save_ClusterRecipe)
bool QDB_Save_ClusterRecipe(const ClusterRecipe_Item& item) {
    return save(Op::QDB_Save_ClusterRecipe, recipes().cluster, item);
}
SIM_BOOLEAN(QDB_Save_PM_Recipe)
bool QDB_Save_PM_Recipe(const PM_Recipe_Item& item) {
    return save(Op::QDB_Save_PM_Recipe, recipes().pm, item);
}

SIM_BOOLEAN(QDB_Delete_LotRecipe)
bool QDB_Delete_LotRecipe(const char* name) {
    return remove(Op::QDB_Delete_LotRecipe, recipes().lot, lot_key(name));
}
SIM_BOOLEAN(QDB_Delete_ClusterRecipe)
bool QDB_Delete_ClusterRecipe(const char* name) {
    return remove(Op::QDB_Delete_ClusterRecipe, recipes().cluster, cluster_key(name));
}
SIM_BOOLEAN(QDB_Delete_PM_Recipe)
bool QDB_Delete_PM_Recipe(const char* module, const char* name) {
    return remove(Op::QDB_Delete_PM_Recipe, recipes().pm, pm_key(module, name));
}

SIM_BOOLEAN(QDB_Delete_LotRecipe_Table)
bool QDB_Delete_LotRecipe_Table() {
    return clear(Op::QDB_Delete_LotRecipe_Table, recipes().lot);
}
SIM_BOOLEAN(QDB_Delete_ClusterRecipe_Table)
bool QDB_Delete_ClusterRecipe_Table() {
    return clear(Op::QDB_Delete_ClusterRecipe_Table, recipes().cluster);
}

SIM_BOOLEAN(QDB_Delete_PM_Recipe_Table)
bool QDB_Delete_PM_Recipe_Table(const char* module) {
    if (record(Op::QDB_Delete_PM_Recipe_Table, std::string(view(module))) == 0) return false;
    const std::lock_guard lock(recipes().mutex);
    std::erase_if(recipes().pm, [&](const PM_Recipe_Item& item) { return item.module == view(module); });
    return true;
}

}  // namespace Talwen
