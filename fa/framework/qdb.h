// Recipe database. Any thread; records are copied in and out. False when the recipe is not there (or already
// is, for QDB_New_...).
#pragma once

#include <vector>

#include "fa/framework/framework_types.h"

namespace Talwen {

bool QDB_Find_LotRecipe(const char* name);
bool QDB_Find_ClusterRecipe(const char* name);
bool QDB_Find_ClusterRecipe(const char* table, const char* name);
bool QDB_Find_PM_Recipe(const char* module, const char* name);
bool QDB_Find_PM_Recipe(const char* table, const char* module, const char* name);

/// By record: `item.name` (and `item.module`) say which; the rest is filled in.
bool QDB_Get_LotRecipe(LotRecipe_Item& item);
bool QDB_Get_ClusterRecipe(ClusterRecipe_Item& item);
bool QDB_Get_PM_Recipe(PM_Recipe_Item& item);
/// By name into the caller's arrays; texts are cut to the array's width, rows to the array's height.
bool QDB_Get_LotRecipe(const char* name, char cluster_recipes[][64], int rows, int* count);
bool QDB_Get_ClusterRecipe(const char* name, char modules[20][64], char pm_recipes[20][64]);
bool QDB_Get_PM_Recipe(const char* module, const char* name, char module_out[32], char name_out[32],
                       char comment_out[32], char steps[200][32], int* step_count, int* column_count,
                       int* row_count);

bool QDB_Get_LotRecipe_List(std::vector<LotRecipe_Item>& items);
bool QDB_Get_ClusterRecipe_List(std::vector<ClusterRecipe_Item>& items);
bool QDB_Get_PM_Recipe_List(const char* module, std::vector<PM_Recipe_Item>& items);

bool QDB_New_LotRecipe(const LotRecipe_Item& item);
bool QDB_New_ClusterRecipe(const ClusterRecipe_Item& item);
bool QDB_New_PM_Recipe(const PM_Recipe_Item& item);
bool QDB_Save_LotRecipe(const LotRecipe_Item& item);
bool QDB_Save_ClusterRecipe(const ClusterRecipe_Item& item);
bool QDB_Save_PM_Recipe(const PM_Recipe_Item& item);
bool QDB_Delete_LotRecipe(const char* name);
bool QDB_Delete_ClusterRecipe(const char* name);
bool QDB_Delete_PM_Recipe(const char* module, const char* name);
bool QDB_Delete_LotRecipe_Table();
bool QDB_Delete_ClusterRecipe_Table();
bool QDB_Delete_PM_Recipe_Table(const char* module);

}  // namespace Talwen
