// fa-module-bench: figures of the module taken inside one process; bench/run.sh starts what is needed.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "bench/report_bench.h"

int main(int argc, char** argv) {
    CLI::App app("Measures event reports and large tables of the module.");
    app.name("fa-module-bench");
    std::uint16_t echo_port = 0;
    std::string folder;
    std::string json;
    app.add_option("--echo", echo_port, "port of the echo server")->required();
    app.add_option("--folder", folder, "an empty folder for generated machines")->required();
    app.add_option("--json", json, "write the figures to this file too");
    try {
        app.parse(argc, argv);
        std::vector<bench::Row> rows = bench::run_report_bench(echo_port, folder + "/reports");
        for (bench::Row& row : bench::run_table_bench(folder + "/tables")) rows.push_back(std::move(row));
        bench::print_table(rows);
        if (!json.empty()) bench::write_json(rows, json);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fa-module-bench: %s\n", error.what());
        return 1;
    }
}
