#include "vexo/system.h"

#include <fstream>
#include <string_view>

#include "vexo/out_text.h"
#include "vlib/error.h"
#include "vlib/file.h"

int VEXOSystemGetBootStep(void) {
    constexpr int kUp = 4;
    int step = kUp;
    std::ifstream file("/run/vexo/boot_step");
    return file >> step ? step : kUp;
}

int VEXOSystemInfoGet(const char* key, char* value, int size) {
    constexpr int kRoom = 257;  // one more than is allowed tells a value that was cut
    char text[kRoom];
    const int length = VLIBCFileGetKeyValue("/etc/vexoinfo.conf", key, text, sizeof text, 0);
    if (length < 0 || length >= kRoom - 1) {
        VLIBCErrSet(length < 0 ? VLIB_ERR_NOT_FOUND : VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const std::string_view found(text, static_cast<std::size_t>(length));
    return vexoplatform::PutOut(found, value, size) == 0 ? length : -1;
}
