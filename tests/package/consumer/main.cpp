// A controller in a few lines: the module over the simulated framework, driven through its entry points.
#include <fa/module/bc_fa.h>
#include <sim/machine/machine.h>

int main() {
    sim::machine().load_text("[tool]\nmodel = \"MINE\"\n");
    Talwen::BC_FA module;
    return module.QProgram_Init_Code() && module.Unique_DATAID() == 0 ? 0 : 1;
}
