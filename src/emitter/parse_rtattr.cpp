#include <algorithm>

#include <vexobase/log.h>
#include <vexonetwork/emitter/parse_rtattr.h>

namespace vexonetwork::utils {

int parse_rtattr(rtattr** table, int max, rtattr* first, int len) {
    std::fill_n(table, max + 1, nullptr);
    const rtattr* attribute = first;
    int left = len;
    while (RTA_OK(attribute, left)) {
        if (attribute->rta_type <= max && table[attribute->rta_type] == nullptr) {
            table[attribute->rta_type] = const_cast<rtattr*>(attribute);
        }
        // The last one may lack its padding: nothing is left then, and the step past the end
        // is not taken.
        const int step = std::min<int>(RTA_ALIGN(attribute->rta_len), left);
        left -= step;
        attribute =
            reinterpret_cast<const rtattr*>(reinterpret_cast<const char*>(attribute) + step);
    }
    if (left != 0) {
        const bool hasLength = left >= static_cast<int>(sizeof attribute->rta_len);
        VEXO_LOG(LOG_ERR, "!!!Deficit %d, rta_len=%d\n", left, hasLength ? attribute->rta_len : 0);
    }
    return 0;
}

}  // namespace vexonetwork::utils
