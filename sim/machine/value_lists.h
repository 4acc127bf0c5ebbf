// The names and types of GEM status points, FA settings, data variables and cluster-tool points, from their
// lists.
#pragma once

#include <array>

#include "sim/controller/values.h"

namespace sim {

#define FA_GEM(type, access, name) name,
#define FA_SETTING(type, name) name,
#define FA_DVID(type, name) name,
#define SIM_CTC(type, access, scope, name) name,
enum class Gem : std::size_t {
#include "fa/framework/gem_points.def"
};
enum class Fa : std::size_t {
#include "fa/framework/fa_settings.def"
};
enum class Dvid : std::size_t {
#include "fa/framework/dvid_setters.def"
};
enum class Ctc : std::size_t {
#include "sim/machine/ctc_points.def"
};
#undef FA_GEM
#undef FA_SETTING
#undef FA_DVID
#undef SIM_CTC

#define FA_GEM(type, access, name) ValueInfo{#name, ValueType::type},
#define FA_SETTING(type, name) ValueInfo{#name, ValueType::type},
#define FA_DVID(type, name) ValueInfo{#name, ValueType::type},
#define SIM_CTC(type, access, scope, name) ValueInfo{#name, ValueType::type},
inline constexpr std::array gem_infos = {
#include "fa/framework/gem_points.def"
};
inline constexpr std::array fa_infos = {
#include "fa/framework/fa_settings.def"
};
inline constexpr std::array dvid_infos = {
#include "fa/framework/dvid_setters.def"
};
inline constexpr std::array ctc_infos = {
#include "sim/machine/ctc_points.def"
};
#undef FA_GEM
#undef FA_SETTING
#undef FA_DVID
#undef SIM_CTC

enum class CtcScope { TOOL, CM, SLOT };
#define SIM_CTC(type, access, scope, name) CtcScope::scope,
inline constexpr std::array ctc_scopes = {
#include "sim/machine/ctc_points.def"
};
#undef SIM_CTC

}  // namespace sim
