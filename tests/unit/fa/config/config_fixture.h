// A module object with its own data folder, a small machine and what it printed.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "fa/module/bc_fa.h"

namespace fa_test {

inline constexpr char primary[] = "Z/FA/";
inline constexpr char fallback[] = "J/Talwen/Config/FA/";

/// Everything of an earlier test is gone at the start: files, tables, values, the settings-layout flag
/// (true).
class Config_Test : public testing::Test {
  protected:
    Config_Test();
    ~Config_Test() override;

    static void forget_tables();
    /// Writes a file below the data folder, byte for byte.
    void write(const std::string& path, std::string_view bytes);
    std::string read(const std::string& path) const;
    const std::filesystem::path& folder() const { return folder_; }
    /// What was printed since the last call, one text per line: the colour's first letter, a blank, the text.
    /// The code line, which no test should know, is "#".
    std::vector<std::string> printed();

    Talwen::BC_FA fa;

  private:
    std::filesystem::path folder_;
    std::vector<std::string> printed_;
};

using Texts = std::vector<std::string>;

/// What a list of definitions ("RPTID", "CEID", "TRID", "TMSG") or the spool table ("SPOOLING") holds, joined
/// by "; ".
std::string listed(std::string_view list);

}  // namespace fa_test
