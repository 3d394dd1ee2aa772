#include "vexo/system.h"

#include <fstream>

int VEXOSystemGetBootStep(void) {
    constexpr int kUp = 4;
    int step = kUp;
    std::ifstream file("/run/vexo/boot_step");
    return file >> step ? step : kUp;
}
